// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPLISTENER_H
#define LIBSSDP_SOURCE_SSDPLISTENER_H

#include "mutex.h"
#include "ssdpbase.h"
#include "ssdpstorage.h"

namespace libSSDP {

// The worker on the group: its socket is bound to port 1900 and joined to SSDP_GROUP on the
// interface that the system chooses. Its thread answers the M-SEARCHes and reports the NOTIFYs that
// are for our search target, one datagram at a time in the order of arrival: while an answer waits
// out its delay, nothing is read. Our own datagrams come back and are processed like a peer's.
class SSDPListener : public SSDPBase {
 public:
  // A socket step that fails is reported and construction goes on. `store` and `context` must
  // outlive the listener.
  SSDPListener(EngineCallback callback, SSDPStorage* store, void* context);
  ~SSDPListener() override = default;

  int Task() override;
  SSDP_STATUS Init() override;

  // Cuts a response delay under way short, so that its answer leaves at once, then as SSDPBase.
  SSDP_STATUS DeInit() override;

  // The listener's thread. Both succeed when the message isn't for us; ProcessMSearch fails when a
  // setting can't be read or the response didn't leave whole, ProcessNotify when the search target
  // can't be read.
  SSDP_STATUS ProcessMSearch(const char* message, struct sockaddr_in from);
  SSDP_STATUS ProcessNotify(const char* message, struct sockaddr_in from);

 private:
  class Answering;

  Mutex m_delay_mutex;
  ConditionVariable m_delay_cond;
  SSDPStorage* m_ssdpstore;  // not owned

  // Used only by the listener thread; members so that their strings' memory is reused: allocating
  // it for each datagram costs 350 and 230 instructions.
  SearchTargetConfig m_search_target;
  DeviceInfo m_device;

  // Without these a stop that comes just before a delay would wait for all of it, and one that
  // comes during it would close the socket under its answer.
  bool m_stopping GUARDED_BY(m_delay_mutex);   // DeInit was called: no answer begins
  bool m_answering GUARDED_BY(m_delay_mutex);  // from the start of a delay until its answer is sent
};

}  // namespace libSSDP

#endif

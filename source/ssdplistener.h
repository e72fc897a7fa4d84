// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPLISTENER_H
#define LIBSSDP_SOURCE_SSDPLISTENER_H

#include "mutex.h"
#include "ssdpbase.h"
#include "ssdpstorage.h"

namespace libSSDP {

// The listener: its socket is bound to port 1900 and has joined SSDP_GROUP on the interface that
// the system chooses. Its thread answers M-SEARCH and reports NOTIFY messages for our search
// target, one datagram at a time in the order of arrival: during a response delay nothing is
// received. The network loops our own messages back, and they are processed like a peer's.
class SSDPListener : public SSDPBase {
 public:
  // A socket step that fails is reported and construction goes on. `store` and `context` must
  // outlive the listener.
  SSDPListener(EngineCallback callback, SSDPStorage* store, void* context);
  ~SSDPListener() override = default;

  int Task() override;
  SSDP_STATUS Init() override;

  // Ends a response delay, so that the response is sent at once, then does what SSDPBase does.
  SSDP_STATUS DeInit() override;

  // Listener thread only. Both succeed when the message isn't for our search target. ProcessMSearch
  // fails when a setting can't be read or the response isn't sent whole, ProcessNotify when the
  // search target can't be read.
  SSDP_STATUS ProcessMSearch(const char* message, struct sockaddr_in from);
  SSDP_STATUS ProcessNotify(const char* message, struct sockaddr_in from);

 private:
  class Response;

  Mutex m_delay_mutex;
  ConditionVariable m_delay_cond;
  SSDPStorage* m_ssdpstore;  // not owned

  // Used only by the listener thread; members so that their strings' memory is reused: allocating
  // it for each datagram costs 350 and 230 instructions.
  SearchTargetConfig m_search_target;
  DeviceInfo m_device;

  // Without these, a stop just before a delay would wait for the whole delay, and a stop during a
  // delay would close the socket before the response is sent.
  bool m_stopping GUARDED_BY(m_delay_mutex);    // DeInit was called: no response begins
  bool m_responding GUARDED_BY(m_delay_mutex);  // from a delay's start until its response is sent
};

}  // namespace libSSDP

#endif

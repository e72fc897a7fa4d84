// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPHANDLER_H
#define LIBSSDP_SOURCE_SSDPHANDLER_H

#include <string>

#include "ssdpbase.h"
#include "ssdpstorage.h"

namespace libSSDP {

class SSDP;

// The sender: one unicast socket on an ephemeral port. It sends NOTIFY and M-SEARCH to the group,
// and its thread receives the search responses.
//
// Several threads may send at once: each works on its own copies of the settings, and one datagram
// socket can send and receive at the same time. The system's routing chooses the interface; the
// configured one is only recorded.
class SSDPHandler : public SSDPBase {
 public:
  // A socket step that fails is reported and construction goes on. `store` and `context` must
  // outlive the handler.
  SSDPHandler(EngineCallback callback, SSDPStorage* store, void* context);
  ~SSDPHandler() override = default;

  // The receiver's loop. Ends with SSDP_FAILURE when the search target can't be read.
  int Task() override;

  SSDP_STATUS Init() override;

  // Sends one NOTIFY with `nts` ("ssdp:alive" or "ssdp:byebye"); fails when it isn't sent whole.
  SSDP_STATUS AnnounceNetwork(std::string nts, SSDP* ssdp);

  // Sends one M-SEARCH; fails when it isn't sent whole. Task receives the responses.
  SSDP_STATUS SearchNetwork(SSDP* ssdp);

 private:
  void ProcessResponse(const Datagram& datagram);

  SSDPStorage* m_ssdpstore;  // not owned

  // Used only by Task; members so that their strings' memory is reused, as in SSDPListener.
  SearchTargetConfig m_search_target;
  DeviceInfo m_device;
};

}  // namespace libSSDP

#endif

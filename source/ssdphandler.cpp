// SPDX-License-Identifier: MIT
#include "ssdphandler.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <exception>

#include "address.h"
#include "message.h"
#include "report.h"

namespace libSSDP {

SSDPHandler::SSDPHandler(EngineCallback callback, SSDPStorage* store, void* context)
    : SSDPBase(callback, context), m_ssdpstore(store) {
  m_group_addr.sin_family = AF_INET;
  m_group_addr.sin_port = htons(SSDP_PORT);
  m_group_addr.sin_addr.s_addr = inet_addr(SSDP_GROUP.c_str());

  m_handle = OpenSocket();
  SSDP_CHECK_REASON((m_handle >= 0), "error creating socket");

  m_local_addr.sin_family = AF_INET;
  m_local_addr.sin_port = 0;
  m_local_addr.sin_addr.s_addr = INADDR_ANY;
  struct in_addr localInterface;
  localInterface.s_addr = INADDR_ANY;
  // clang-format off
  SSDP_CHECK_REASON((bind(m_handle, (struct sockaddr * ) &m_local_addr, sizeof(m_local_addr)) == 0),
                    "error binding socket");
  SSDP_CHECK_REASON((setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_IF, &localInterface, sizeof(localInterface)) == 0),
                    "Unable to set IP_MULTICAST_IF");
  // clang-format on
}

SSDP_STATUS SSDPHandler::Init() {
  {
    const InterfaceList interfaces;
    NetworkInterfaceConfig config;
    SSDP_CHECK_REASON(m_ssdpstore->GetConfig(SSDP_CONFIG_NETWORK_INTERFACE, config) == SSDP_SUCCESS,
                      "GetConfig failed");
    interfaces.CopyAddress(config.m_network_interface, m_local_ip);
  }
  return SSDPBase::Init();
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value like every text that is handed in.
SSDP_STATUS SSDPHandler::AnnounceNetwork(std::string nts, SSDP*) try {
  NotifyHeaderConfig config;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(config.m_name, config) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  if (!SSDP_CHECK(InsertAfter(config.m_notify_header, "NTS: ", nts))) return SSDP_FAILURE;

  NotifyTimeoutConfig notifytoconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(notifytoconfig.m_name, notifytoconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  const std::string max_age = std::to_string(notifytoconfig.m_notify_timeout);
  if (!SSDP_CHECK(InsertAfter(config.m_notify_header, "Cache-Control: max-age=", max_age)))
    return SSDP_FAILURE;

  // A text that could take the max-age is long enough for what follows, marker or not.
  DeviceStatusConfig statusconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(statusconfig.m_name, statusconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  InsertAfter(config.m_notify_header, "Status: ", statusconfig.m_status);

  DeviceUUIDConfig uuidconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(uuidconfig.m_name, uuidconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  InsertAfter(config.m_notify_header, "USN: uuid:", uuidconfig.m_uuid);

  const std::optional<size_t> bytes = Send(config.m_notify_header, m_group_addr);
  if (!SSDP_CHECK(bytes == config.m_notify_header.length())) return SSDP_FAILURE;
  return SSDP_SUCCESS;
} catch (const std::exception& error) {
  SSDP_REPORT(error.what());
  return SSDP_FAILURE;
}

SSDP_STATUS SSDPHandler::SearchNetwork(SSDP*) try {
  MSearchHeaderConfig config;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(config.m_name, config) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  MSearchTimeoutConfig msearchconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(msearchconfig.m_name, msearchconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  const std::string mx = std::to_string(msearchconfig.m_msearch_timeout);
  if (!SSDP_CHECK(InsertAfter(config.m_msearch_header, "MX: ", mx))) return SSDP_FAILURE;

  const std::optional<size_t> bytes = Send(config.m_msearch_header, m_group_addr);
  if (!SSDP_CHECK(bytes == config.m_msearch_header.length())) return SSDP_FAILURE;
  return SSDP_SUCCESS;
} catch (const std::exception& error) {
  SSDP_REPORT(error.what());
  return SSDP_FAILURE;
}

int SSDPHandler::Task() {
  NameThisThread("ssdp-handler");
  Datagram datagram;
  while (IsStarted()) {
    Receive(datagram);
    try {
      if (m_ssdpstore->GetConfig(SSDP_CONFIG_SEARCH_TARGET, m_search_target) != SSDP_SUCCESS) {
        SSDP_REPORT("m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS");
        return SSDP_FAILURE;
      }
      ProcessResponse(datagram);
    } catch (const std::exception&) {
      // Memory ran out, or the application's callback threw: drop this datagram.
    }
  }
  return SSDP_SUCCESS;
}

// The search target is the only filter: neither the start line nor the sender is checked.
void SSDPHandler::ProcessResponse(const Datagram& datagram) {
  const std::string_view text = datagram.text;
  if (!ContainsHeader(text, "ST: ", m_search_target.m_search_target)) return;

  struct timeval now = {};
  gettimeofday(&now, nullptr);
  if (!ReadDevice(text, now.tv_sec, ShortStatus::kReadAsEmpty, m_device)) return;
  m_device.m_address = AddressText(datagram.from);
  m_engine_callback(m_engine_context, &m_device, true, false);
}

}  // namespace libSSDP

// SPDX-License-Identifier: MIT
#include "ssdplistener.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <exception>

#include "address.h"
#include "message.h"
#include "report.h"

namespace libSSDP {

namespace {

constexpr int LONGEST_RESPONSE_MS = 1000;  // that a stop waits for

// Local time as ctime writes it, with its line feed.
std::string DateText() {
  const time_t now = time(nullptr);
  char text[26] = "";
  return ctime_r(&now, text) == nullptr ? "" : text;
}

}  // namespace

SSDPListener::SSDPListener(EngineCallback callback, SSDPStorage* store, void* context)
    : SSDPBase(callback, context),
      m_delay_cond(m_delay_mutex),
      m_ssdpstore(store),
      m_stopping(false),
      m_responding(false) {
  m_handle = OpenSocket();
  SSDP_CHECK_REASON((m_handle >= 0), "error creating socket");

  int reuse = 1;
  m_local_addr.sin_family = AF_INET;
  m_local_addr.sin_port = htons(SSDP_PORT);
  m_local_addr.sin_addr.s_addr = INADDR_ANY;
  struct ip_mreq group;
  group.imr_multiaddr.s_addr = inet_addr(SSDP_GROUP.c_str());
  group.imr_interface.s_addr = INADDR_ANY;
  // clang-format off
  SSDP_CHECK_REASON((setsockopt(m_handle, SOL_SOCKET, SO_REUSEADDR, (void*) &reuse, (socklen_t) sizeof(reuse)) == 0),
                    "Unable set SO_REUSEADDR");
  SSDP_CHECK_REASON((bind(m_handle, (struct sockaddr * ) &m_local_addr, sizeof(m_local_addr)) == 0),
                    "unable to bind socket");
  SSDP_CHECK_REASON((setsockopt(m_handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, (char *) &group, sizeof(group)) == 0),
                    "unable to add socket to group membership");
  // clang-format on
}

SSDP_STATUS SSDPListener::Init() {
  {
    const InterfaceList interfaces;
    NetworkInterfaceConfig config;
    SSDP_CHECK_REASON(m_ssdpstore->GetConfig(SSDP_CONFIG_NETWORK_INTERFACE, config) == SSDP_SUCCESS,
                      "GetConfig failed");
    interfaces.CopyAddress(config.m_network_interface, m_local_ip);
  }
  {
    const ScopedLock lock(m_delay_mutex);
    m_stopping = false;  // a stop that failed may have left it
  }
  return SSDPBase::Init();
}

SSDP_STATUS SSDPListener::DeInit() {
  {
    const ScopedLock lock(m_delay_mutex);
    m_stopping = true;
    m_delay_cond.Notify();
    // A response under way leaves at once, unless the callback blocks: wait for a bounded time.
    while (lock.IsHeld() && m_responding && m_delay_cond.Wait(LONGEST_RESPONSE_MS) == 0) {
    }
  }
  return SSDPBase::DeInit();
}

int SSDPListener::Task() {
  NameThisThread("ssdp-listener");
  Datagram datagram;
  while (IsStarted()) {
    Receive(datagram);
    const std::string_view message = datagram.text;
    try {
      if (Contains(message, MSEARCH_START_LINE)) ProcessMSearch(datagram.text, datagram.from);
      if (Contains(message, NOTIFY_START_LINE)) ProcessNotify(datagram.text, datagram.from);
    } catch (const std::exception&) {
      // Memory ran out, or the application's callback threw: drop this datagram.
    }
  }
  return SSDP_SUCCESS;
}

// One response in progress: its delay, and its sending as long as this object lives. A stop ends
// the delay, and waits until the response has been sent; after a stop no response begins.
class SSDPListener::Response {
 public:
  // Waits for a random part of `delay_bound` milliseconds.
  Response(SSDPListener& listener, int64_t delay_bound) : m_listener(listener), m_begun(false) {
    const ScopedLock lock(m_listener.m_delay_mutex);
    if (m_listener.m_stopping) return;
    m_begun = m_listener.m_responding = true;
    // rand() is enough: the delay need not be unpredictable, and no other library thread calls it.
    // NOLINTNEXTLINE(concurrency-mt-unsafe,cert-msc30-c,cert-msc50-cpp)
    const int delay = static_cast<int>(rand() % delay_bound);
    // Wait only with the mutex held: on return the mutex is locked, even if it was not before.
    if (lock.IsHeld()) m_listener.m_delay_cond.Wait(delay);
  }
  ~Response() {
    const ScopedLock lock(m_listener.m_delay_mutex);
    m_listener.m_responding = false;
    if (m_listener.m_stopping) m_listener.m_delay_cond.Notify();
  }
  Response(const Response&) = delete;
  Response& operator=(const Response&) = delete;

  bool HasBegun() const { return m_begun; }

 private:
  SSDPListener& m_listener;
  bool m_begun;
};

SSDP_STATUS SSDPListener::ProcessMSearch(const char* message, struct sockaddr_in from) {
  if (m_ssdpstore->GetConfig(SSDP_CONFIG_SEARCH_TARGET, m_search_target) != SSDP_SUCCESS) {
    SSDP_REPORT("m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS");
    return SSDP_FAILURE;
  }
  if (!ContainsHeader(message, "ST: ", m_search_target.m_search_target)) return SSDP_SUCCESS;
  const int64_t delay_bound = ReadDelayBound(message);
  if (delay_bound == 0) return SSDP_SUCCESS;  // MX is missing or 0: ignore the search

  ResponseHeaderConfig rconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(rconfig.m_name, rconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  if (!SSDP_CHECK(InsertAfter(rconfig.m_response_header, "DATE: ", DateText())))
    return SSDP_FAILURE;

  NotifyTimeoutConfig notifytoconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(notifytoconfig.m_name, notifytoconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  const std::string max_age = std::to_string(notifytoconfig.m_notify_timeout);
  if (!SSDP_CHECK(InsertAfter(rconfig.m_response_header, "Cache-Control: max-age=", max_age)))
    return SSDP_FAILURE;

  // A text that could take the max-age is long enough for what follows, marker or not.
  DeviceStatusConfig statusconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(statusconfig.m_name, statusconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  InsertAfter(rconfig.m_response_header, "Status: ", statusconfig.m_status);

  DeviceUUIDConfig uuidconfig;
  if (!SSDP_CHECK(m_ssdpstore->GetConfig(uuidconfig.m_name, uuidconfig) == SSDP_SUCCESS))
    return SSDP_FAILURE;
  InsertAfter(rconfig.m_response_header, "USN: uuid:", uuidconfig.m_uuid);

  const Response response(*this, delay_bound);
  if (!response.HasBegun()) return SSDP_SUCCESS;
  m_engine_callback(m_engine_context, nullptr, false, true);
  const std::optional<size_t> bytes = Send(rconfig.m_response_header, from);
  if (!SSDP_CHECK(bytes == rconfig.m_response_header.length())) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPListener::ProcessNotify(const char* message, struct sockaddr_in from) {
  const std::string_view text = message;
  if (m_ssdpstore->GetConfig(SSDP_CONFIG_SEARCH_TARGET, m_search_target) != SSDP_SUCCESS) {
    SSDP_REPORT("m_ssdpstore->GetConfig(sconfig.m_name, sconfig) == SSDP_SUCCESS");
    return SSDP_FAILURE;
  }
  if (!ContainsHeader(text, "NT: ", m_search_target.m_search_target)) return SSDP_SUCCESS;

  struct timeval now = {};
  gettimeofday(&now, nullptr);
  if (!ReadDevice(text, now.tv_sec, ShortStatus::kReject, m_device)) return SSDP_SUCCESS;
  m_device.m_address = AddressText(from);
  m_engine_callback(m_engine_context, &m_device, Contains(text, "ssdp:alive"), false);
  return SSDP_SUCCESS;
}

}  // namespace libSSDP

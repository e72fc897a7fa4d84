// SPDX-License-Identifier: MIT
#include "ssdpbase.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "report.h"

namespace libSSDP {

SSDPBase::SSDPBase(EngineCallback callback, void* context)
    : m_engine_callback(callback),
      m_engine_context(context),
      m_handle(0),
      m_local_addr(),
      m_group_addr(),
      m_local_ip(),
      m_closed(false) {}

SSDP_STATUS SSDPBase::Init() {
  if (!SSDP_CHECK(Start() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

SSDP_STATUS SSDPBase::DeInit() {
  if (!SSDP_CHECK(Stop() == SSDP_SUCCESS)) return SSDP_FAILURE;
  const int handle = Socket();
  m_closed = true;              // before the number can become another's
  shutdown(handle, SHUT_RDWR);  // "not connected" is its usual answer, and it wakes all the same
  close(handle);
  if (!SSDP_CHECK(Join() == SSDP_SUCCESS)) return SSDP_FAILURE;
  return SSDP_SUCCESS;
}

void SSDPBase::RecordLocalAddress(const InterfaceList& interfaces, const std::string& name) {
  for (const struct ifaddrs* entry = interfaces.Head(); entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if (name != entry->ifa_name) continue;
    const auto* address = reinterpret_cast<const struct sockaddr_in*>(entry->ifa_addr);
    inet_ntop(AF_INET, &address->sin_addr, m_local_ip, sizeof(m_local_ip));
    return;
  }
}

void SSDPBase::Receive(Datagram& datagram) {
  std::memset(&datagram, 0, sizeof(datagram));
  socklen_t length = sizeof(datagram.from);
  const int handle = Socket();
  const ssize_t received =
      handle < 0 ? -1
                 : recvfrom(handle, datagram.text, sizeof(datagram.text) - 1, 0,
                            reinterpret_cast<struct sockaddr*>(&datagram.from), &length);
  // Not after a stop, which makes the receive fail too.
  if (received < 0 && IsStarted() && usleep(20000) != 0) poll(nullptr, 0, 20);
}

int OpenSocket() {
  const int handle = socket(AF_INET, SOCK_DGRAM, 0);
  // A descriptor that stays open across exec is a nuisance, no reason to do without a socket.
  if (handle >= 0) fcntl(handle, F_SETFD, FD_CLOEXEC);
  return handle;
}

std::string AddressText(const struct sockaddr_in& address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
  return text;
}

}  // namespace libSSDP

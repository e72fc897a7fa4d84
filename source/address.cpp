// SPDX-License-Identifier: MIT
#include "address.h"

#include <arpa/inet.h>

#include <charconv>

namespace libSSDP {

// With inet_ntop, which calls printf, a known peer's announcement takes 1,700 instructions more.
std::string AddressText(const struct sockaddr_in& address) {
  const auto* octets = reinterpret_cast<const unsigned char*>(&address.sin_addr);
  char text[INET_ADDRSTRLEN];  // as long as four octets with a dot after each
  char* end = text;
  for (int i = 0; i < 4; ++i) {
    end = std::to_chars(end, end + 3, octets[i]).ptr;
    *end++ = '.';
  }
  return {text, end - 1};
}

InterfaceList::InterfaceList() : m_head(nullptr) {
  if (getifaddrs(&m_head) != 0) m_head = nullptr;  // a failed call may have written anything
}

InterfaceList::~InterfaceList() {
  if (m_head != nullptr) freeifaddrs(m_head);
}

void InterfaceList::CopyAddress(const std::string& name, char (&text)[INET_ADDRSTRLEN]) const {
  for (const struct ifaddrs* entry = m_head; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    if (name != entry->ifa_name) continue;
    const auto* address = reinterpret_cast<const struct sockaddr_in*>(entry->ifa_addr);
    inet_ntop(AF_INET, &address->sin_addr, text, sizeof(text));
    return;
  }
}

}  // namespace libSSDP

// SPDX-License-Identifier: MIT
#include "messages.h"

#include <cstdio>

namespace bench {

std::string Uuid(int peer) {
  char text[64];
  // Scattered like real ones: neighbours in number are none in the table's order.
  std::snprintf(text, sizeof(text), "%08x-1234-4abc-8def-0123456789ab",
                static_cast<unsigned int>(peer) * 2654435761u);
  return text;
}

std::string UuidOfOneMaker(int peer) {
  char text[64];
  std::snprintf(text, sizeof(text), "4d696e69-444c-164e-9d41-0050%08x",
                static_cast<unsigned int>(peer) * 2654435761u);
  return text;
}

std::string Notify(const std::string& target, const std::string& uuid) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=1800\r\n"
         "NTS: ssdp:alive\r\n"
         "NT: " +
         target + "\r\nUSN: uuid:" + uuid + "::" + target + "\r\nStatus: " + kStatus + "\r\n\r\n";
}

std::string SearchReply(const std::string& target, const std::string& uuid) {
  return "HTTP/1.1 200 OK\r\n"
         "Cache-Control: max-age=1800\r\n"
         "DATE: Sun Nov 15 14:22:59 2026\n\r"
         "EXT: \r\n"
         "SERVER: example/1\r\n"
         "ST: " +
         target + "\r\nUSN: uuid:" + uuid + "::" + target + "\r\nStatus: " + kStatus + "\r\n\r\n";
}

std::string MSearch(const std::string& target) {
  return "M-SEARCH * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "MAN: \"ssdp:discover\"\r\n"
         "MX: 3\r\n"
         "ST: " +
         target + "\r\nUSER-AGENT: example/1\r\n\r\n";
}

}  // namespace bench

// SPDX-License-Identifier: MIT
#include "messages.h"

namespace support {

namespace {

std::string Notify(const char* nts, const std::string& uuid, const std::string& status,
                   int max_age) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=" +
         std::to_string(max_age) + "\r\nNTS: " + nts +
         "\r\n"
         "NT: urn:schemas-example-org:device:Light:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:schemas-example-org:device:Light:1\r\n"
         "Status: " +
         status + "\r\n\r\n";
}

}  // namespace

std::string Alive(const std::string& uuid, const std::string& status, int max_age) {
  return Notify("ssdp:alive", uuid, status, max_age);
}

std::string Byebye(const std::string& uuid, const std::string& status) {
  return Notify("ssdp:byebye", uuid, status, 1800);
}

std::string Response(const std::string& uuid, const std::string& status, int max_age) {
  return "HTTP/1.1 200 OK\r\n"
         "Cache-Control: max-age=" +
         std::to_string(max_age) +
         "\r\n"
         "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
         "SERVER: lamp\r\n"
         "ST: urn:schemas-example-org:device:Light:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:schemas-example-org:device:Light:1\r\n"
         "Status: " +
         status + "\r\n\r\n";
}

std::string MSearch(int mx) {
  return "M-SEARCH * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "MAN: \"ssdp:discover\"\r\n"
         "MX: " +
         std::to_string(mx) +
         "\r\n"
         "ST: urn:schemas-example-org:device:Light:1\r\n"
         "USER-AGENT: lamp\r\n"
         "\r\n";
}

}  // namespace support

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_GOLDEN_H
#define LIBSSDP_TESTS_SUPPORT_GOLDEN_H

#include <string>

// Messages as they travel, written out by hand, byte for byte, and never built from the library's
// own constants: a test that did so would pass with a wrong template.
namespace golden {

// A lamp: domain schemas-example-org, type Light, version 1, user agent "lamp/2.0 UPnP/1.1", server
// information "Linux/6.1 UPnP/1.1 lamp/2.0", UUID 1234, status ok, notify timeout 1800, search
// timeout 3.
inline const std::string kLampAlive =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=1800\r\n"
    "NTS: ssdp:alive\r\n"
    "NT: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n"
    "Status: ok\r\n"
    "\r\n";

inline const std::string kLampByebye =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=1800\r\n"
    "NTS: ssdp:byebye\r\n"
    "NT: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n"
    "Status: ok\r\n"
    "\r\n";

inline const std::string kLampSearch =
    "M-SEARCH * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: 3\r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USER-AGENT: lamp/2.0 UPnP/1.1\r\n"
    "\r\n";

// The answer at second 1794752579, in UTC. Behind the date a line feed, then a bare carriage
// return, and EXT on the same line.
inline const std::string kLampAnswer =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=1800\r\n"
    "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
    "SERVER: Linux/6.1 UPnP/1.1 lamp/2.0\r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n"
    "Status: ok\r\n"
    "\r\n";

// A device with nothing set at all.
inline const std::string kBlankAlive =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=-1\r\n"
    "NTS: ssdp:alive\r\n"
    "NT: urn::device::\r\n"
    "USN: uuid:::urn::device::\r\n"
    "Status: \r\n"
    "\r\n";

inline const std::string kBlankByebye =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=-1\r\n"
    "NTS: ssdp:byebye\r\n"
    "NT: urn::device::\r\n"
    "USN: uuid:::urn::device::\r\n"
    "Status: \r\n"
    "\r\n";

inline const std::string kBlankSearch =
    "M-SEARCH * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: -1\r\n"
    "ST: urn::device::\r\n"
    "USER-AGENT: \r\n"
    "\r\n";

inline const std::string kBlankAnswer =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=-1\r\n"
    "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
    "SERVER: \r\n"
    "ST: urn::device::\r\n"
    "USN: uuid:::urn::device::\r\n"
    "Status: \r\n"
    "\r\n";

// A pump whose settings need care: a status with a blank, a colon and a "USN: uuid:" of its own, a
// UUID with dashes, a negative notify timeout, the longest search timeout.
inline const std::string kPumpAlive =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=-5\r\n"
    "NTS: ssdp:alive\r\n"
    "NT: urn:a:device:Pump:10\r\n"
    "USN: uuid:2f4c-00::urn:a:device:Pump:10\r\n"
    "Status: flow: 3 USN: uuid:9\r\n"
    "\r\n";

inline const std::string kPumpByebye =
    "NOTIFY * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "Cache-Control: max-age=-5\r\n"
    "NTS: ssdp:byebye\r\n"
    "NT: urn:a:device:Pump:10\r\n"
    "USN: uuid:2f4c-00::urn:a:device:Pump:10\r\n"
    "Status: flow: 3 USN: uuid:9\r\n"
    "\r\n";

inline const std::string kPumpSearch =
    "M-SEARCH * HTTP/1.1\r\n"
    "Host: 239.255.255.250:1900\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "MX: 2147483647\r\n"
    "ST: urn:a:device:Pump:10\r\n"
    "USER-AGENT: pump\r\n"
    "\r\n";

inline const std::string kPumpAnswer =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=-5\r\n"
    "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
    "SERVER: pump server\r\n"
    "ST: urn:a:device:Pump:10\r\n"
    "USN: uuid:2f4c-00::urn:a:device:Pump:10\r\n"
    "Status: flow: 3 USN: uuid:9\r\n"
    "\r\n";

// The templates before anything is filled in.
inline const std::string kSearchTemplate =
    "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: \r\n"
    "ST: \r\nUSER-AGENT: \r\n\r\n";
inline const std::string kNotifyTemplate =
    "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=\r\nNTS: \r\n"
    "NT: \r\nUSN: uuid:::\r\nStatus: \r\n\r\n";
inline const std::string kAnswerTemplate =
    "HTTP/1.1 200 OK\r\nCache-Control: max-age=\r\nDATE: \rEXT: \r\nSERVER: \r\nST: \r\n"
    "USN: uuid:::\r\nStatus: \r\n\r\n";

}  // namespace golden

#endif

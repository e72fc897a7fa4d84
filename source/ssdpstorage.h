// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_SSDPSTORAGE_H
#define LIBSSDP_SOURCE_SSDPSTORAGE_H

#include <string>

#include "ssdpdevice.h"

namespace libSSDP {

// The three messages as they travel, one header a source line, every value still missing. A value
// goes right behind its header's text: those that are fixed for the run when the store is
// initialised, the rest when the message is sent.

// UPnP Device Architecture 1.1, 1.3.2.
SSDP_CONSTANT std::string MSEARCH_HEADER = MSEARCH_START_LINE +
                                           "Host: 239.255.255.250:1900\r\n"
                                           "MAN: \"ssdp:discover\"\r\n"
                                           "MX: \r\n"          // sent: the search time-out
                                           "ST: \r\n"          // fixed: the search target
                                           "USER-AGENT: \r\n"  // fixed
                                           "\r\n";

// UPnP Device Architecture 1.1, 1.2.2 and 1.2.3. "Status: " is this system's own and comes last:
// receivers take all that follows it.
SSDP_CONSTANT std::string NOTIFY_HEADER = NOTIFY_START_LINE +
                                          "Host: 239.255.255.250:1900\r\n"
                                          "Cache-Control: max-age=\r\n"  // sent: notify time-out
                                          "NTS: \r\n"                    // sent: alive or byebye
                                          "NT: \r\n"                     // fixed: search target
                                          "USN: uuid:::\r\n"  // sent behind the first colon: UUID;
                                                              // fixed at the end: search target
                                          "Status: \r\n"      // sent
                                          "\r\n";

// UPnP Device Architecture 1.1, 1.3.3. The DATE line ends in a bare CR: peers know it so.
SSDP_CONSTANT std::string RESPONSE_HEADER = RESPONSE_START_LINE +
                                            "Cache-Control: max-age=\r\n"  // sent: notify time-out
                                            "DATE: \r"                     // sent: ctime's text
                                            "EXT: \r\n"
                                            "SERVER: \r\n"      // fixed
                                            "ST: \r\n"          // fixed: the search target
                                            "USN: uuid:::\r\n"  // as in NOTIFY
                                            "Status: \r\n"      // sent
                                            "\r\n";

// The store through which the whole library reads and writes its settings. It holds all fourteen
// from construction on, each with its default; the search target and the three templates are made
// by Init from what is set at that moment and stay until the next Init.
//
// Init and DeInit belong to the host's thread, before and after the workers run; the inherited
// SetConfig and GetConfig are for any thread.
class SSDPStorage : public SSDPDevice {
 public:
  SSDPStorage();

  // Stops at the first failure; what was stored before stays.
  SSDP_STATUS Init();

  SSDP_STATUS DeInit();  // nothing to undo: always SSDP_SUCCESS

  SSDP_STATUS GenerateMSearchHeader();
  SSDP_STATUS GenerateNotifyHeader();
  SSDP_STATUS GenerateResponseHeader();

 private:
  template <typename Config>
  void Register() {
    const Config config;
    m_configmap.RegisterConfig(config.m_name, config);  // can't fail: each name comes once
  }
};

}  // namespace libSSDP

#endif

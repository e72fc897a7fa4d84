// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_JSON_H
#define SSDP_PEER_JSON_H

#include <cstdint>
#include <string>

#include "doctor.h"
#include "options.h"
#include "roster.h"

// One JSON object a line, in ASCII alone: every other character of a peer's text is escaped, and
// bytes that are no UTF-8 become U+FFFD.
namespace ssdp_peer {

std::string JsonStarted(const Options& options, const std::string& interface,
                        const std::string& address, int64_t now);
// An event that has no peer.
std::string JsonEvent(const std::string& event, int64_t now);
std::string JsonStatus(const std::string& status, int64_t now);
// `event` is left out when it is empty.
std::string JsonPeer(const std::string& event, const Peer& peer, int64_t now);
std::string JsonFinding(const std::string& check, const Finding& finding);

}  // namespace ssdp_peer

#endif

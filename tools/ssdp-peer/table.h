// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_TABLE_H
#define SSDP_PEER_TABLE_H

#include <string>
#include <vector>

#include "roster.h"

namespace ssdp_peer {

// By last seen, the latest comes first.
enum class Order { kUuid, kAddress, kSeen };

// The peers in order. With a filter only those whose UUID, address or status contains it, whatever
// the case of its ASCII letters.
std::vector<Peer> Arrange(const Roster& roster, Order order, const std::string& filter);

// A heading, which marks the order unless it is by UUID, and one line a peer. None takes more than
// `width` columns; a width of 0 cuts nothing. A row that is new, changed or leaving is marked with
// +, ~ or -, and with `color` in green, yellow or red.
std::vector<std::string> TableLines(const std::vector<Peer>& peers, Order order, int64_t now,
                                    size_t width, bool color);

}  // namespace ssdp_peer

#endif

// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_TABLE_H
#define SSDP_PEER_TABLE_H

#include <string>
#include <vector>

#include "roster.h"

namespace ssdp_peer {

// A heading and one line a peer, none longer than `width`; a width of 0 cuts nothing. A row that is
// new, changed or leaving is marked with +, ~ or -, and with `color` in green, yellow or red.
std::vector<std::string> TableLines(const Roster& roster, int64_t now, size_t width, bool color);

}  // namespace ssdp_peer

#endif

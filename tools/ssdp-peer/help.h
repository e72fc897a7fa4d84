// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_HELP_H
#define SSDP_PEER_HELP_H

#include <string>
#include <vector>

namespace ssdp_peer {

// The verbs that have a help of their own.
std::vector<std::string> VerbNames();

// The help of a verb, or of the program for "". Each fits a screen of 24 lines and 80 columns.
std::string Help(const std::string& verb);

// Of the candidates the one that `word` was most likely meant to be, or "".
std::string Closest(const std::string& word, const std::vector<std::string>& candidates);

}  // namespace ssdp_peer

#endif

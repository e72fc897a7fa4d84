// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_VALIDATION_H
#define SSDP_PEER_VALIDATION_H

#include <string>
#include <vector>

#include "options.h"

namespace ssdp_peer {

// What a receiver reads of a message.
constexpr int kMessageLimit = 512;

// One of the three messages that the settings lead to.
struct Message {
  std::string name;
  int length;                // of the longest that can be sent
  std::string longest_part;  // the option that adds most to it
};

std::vector<Message> Messages(const Options& options);

// Each says what is wrong, beginning with the option's name; empty when nothing is.
std::string FindBadValue(const Options& options);
std::string FindLongMessage(const Options& options);
std::string FindUnknownInterface(const Options& options, const std::vector<std::string>& known);

// What must be right before a verb starts. The doctor takes what would only make us unheard, for
// that is what it is asked to find.
void Validate(const Options& options, const std::vector<std::string>& interfaces);

}  // namespace ssdp_peer

#endif

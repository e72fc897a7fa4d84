// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_VERBS_H
#define SSDP_PEER_VERBS_H

#include "network.h"
#include "options.h"
#include "output.h"

namespace ssdp_peer {

// Each runs to its end and returns the exit status.
int Watch(const Options& options, Output& output);
int Search(const Options& options, Output& output);
int Announce(const Options& options, Output& output);
int Doctor(const Options& options, Output& output);

}  // namespace ssdp_peer

#endif

// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_TELL_H
#define SSDP_PEER_TELL_H

#include <string>

#include "options.h"
#include "output.h"
#include "session.h"

// What several verbs tell about themselves.
namespace ssdp_peer {

// The line that says who and where we are, once a verb has started.
bool TellStart(const Options& options, Output& output);

// Whether the session runs; told on standard error when it doesn't.
bool TellRunning(const Session& session);

// On standard error: that a message could not be sent, with the reason that the system gives.
void TellUnsent(const std::string& message);

// Ends the session. False, and told, when that was not possible.
bool EndSession(Session& session);

}  // namespace ssdp_peer

#endif

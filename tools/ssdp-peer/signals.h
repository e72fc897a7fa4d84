// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_SIGNALS_H
#define SSDP_PEER_SIGNALS_H

namespace ssdp_peer {

// From here on SIGINT, SIGTERM, SIGHUP and SIGQUIT ask for a clean end, SIGTSTP for a pause and
// SIGWINCH for a new look at the screen; each makes the descriptor readable. SIGPIPE does nothing:
// a write that fails says so.
void CatchSignals();

int SignalDescriptor();

// Empties the descriptor.
void TakeSignals();

bool StopAsked();
// Whether SIGTSTP came since the last call.
bool TakePause();

}  // namespace ssdp_peer

#endif

// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_SIGNALS_H
#define SSDP_PEER_SIGNALS_H

namespace ssdp_peer {

// From here on SIGINT, SIGTERM, SIGHUP and SIGQUIT ask for a clean end and SIGWINCH for a new look
// at the screen; each makes the descriptor readable. SIGPIPE does nothing: a write that fails says
// so. Of the first four all but SIGTERM stay ignored when they were at the start: so nohup(1) wants
// it, and a shell for what it runs in the background.
void CatchSignals();

// From here on SIGTSTP asks for a pause. For whoever has a screen to give back first: without that,
// the system's own pause is right.
void CatchPause();

int SignalDescriptor();

// Empties the descriptor.
void TakeSignals();

bool StopAsked();
// Whether SIGTSTP came since the last call.
bool TakePause();

}  // namespace ssdp_peer

#endif

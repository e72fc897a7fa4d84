// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_LOOP_H
#define SSDP_PEER_LOOP_H

#include <chrono>
#include <string>

#include "output.h"
#include "session.h"

namespace ssdp_peer {

using Clock = std::chrono::steady_clock;

// What a verb waits for: events, signals, input, and the moment when its reader goes.
class Loop {
 public:
  Loop(const Session& session, Output& output) : m_session(session), m_output(output) {}

  // False when it is time to end.
  bool Wait(Clock::time_point until);

  // Standard input is read from here on; what came is given by TakeInput.
  void ReadInput() { m_input_open = true; }
  std::string TakeInput();
  bool InputEnded() const { return m_input_ended; }

 private:
  void Read();

  const Session& m_session;
  Output& m_output;
  bool m_input_open = false;
  bool m_input_ended = false;
  std::string m_input;
};

}  // namespace ssdp_peer

#endif

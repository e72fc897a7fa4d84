// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_TERMINAL_H
#define SSDP_PEER_TERMINAL_H

#include <termios.h>

#include <string>
#include <vector>

#include "options.h"
#include "output.h"

namespace ssdp_peer {

bool WantColor(Color color, const Output& output);

// False for the terminal of a job while that is in the background: who then reads it is stopped,
// and who draws on it tears what the shell shows there. Anything else is always ours.
bool IsOurs(int fd);

// The bytes that draw the lines from the top of the screen, and nothing below them.
std::string FrameText(const std::vector<std::string>& lines);

// The terminal as a screen drawn in place, with keys that come one by one, from the first drawing
// on. At the end it is given back as it was.
class Screen {
 public:
  explicit Screen(Output& output);
  ~Screen() { Leave(); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Draws nothing while the terminal isn't ours.
  void Draw(const std::vector<std::string>& lines);
  // Gives the terminal back and stops the process as the shell expects, until it is continued; the
  // next drawing takes the terminal again.
  void Pause();

 private:
  void Enter();
  void Leave();

  Output& m_output;
  termios m_before = {};
  bool m_shown = false;
  bool m_keys = false;  // the input's mode was changed
};

}  // namespace ssdp_peer

#endif

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

// Whether standard input is there for us: a background job that reads its terminal is stopped.
bool InputIsOurs();

// The bytes that draw the lines from the top of the screen, and nothing below them.
std::string FrameText(const std::vector<std::string>& lines);

// The terminal as a screen drawn in place, with keys that come one by one. At the end it is given
// back as it was.
class Screen {
 public:
  explicit Screen(Output& output);
  ~Screen() { Leave(); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  void Draw(const std::vector<std::string>& lines);
  // Gives the terminal back, stops the process as the shell expects, and takes it again when the
  // process is continued.
  void Pause();

 private:
  void Enter();
  void Leave();

  Output& m_output;
  termios m_before = {};
  bool m_keys = false;  // the input's mode was changed
};

}  // namespace ssdp_peer

#endif

// SPDX-License-Identifier: MIT
#include "terminal.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "signals.h"

namespace ssdp_peer {

bool WantColor(Color color, const Output& output) {
  if (color != Color::kAuto) return color == Color::kAlways;
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  if (refused != nullptr && *refused != '\0') return false;
  return output.IsTerminal() && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool IsOurs(int fd) {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground < 0 || foreground == getpgrp();  // the first: not the terminal of our jobs
}

std::string FrameText(const std::vector<std::string>& lines) {
  // An erase behind a line that fills its row would take the last character, where most terminals
  // leave the cursor.
  std::string frame = "\x1b[H";
  for (size_t i = 0; i < lines.size(); ++i) {
    const bool last = i + 1 == lines.size();
    frame += (last ? "\x1b[J" : "\x1b[K") + lines[i] + (last ? "" : "\r\n");
  }
  return frame;
}

Screen::Screen(Output& output) : m_output(output) {
  CatchPause();
}

// The alternate screen, without a cursor.
void Screen::Enter() {
  m_output.Write("\x1b[?1049h\x1b[?25l");
  m_shown = true;
  if (!IsOurs(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &m_before) != 0) return;
  termios keys = m_before;
  keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  keys.c_iflag &= ~static_cast<tcflag_t>(IXON);  // or Ctrl-S would hold us up at our next write
  keys.c_cc[VMIN] = 1;
  keys.c_cc[VTIME] = 0;
  m_keys = tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0;
}

void Screen::Leave() {
  if (m_keys && IsOurs(STDIN_FILENO)) tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
  m_keys = false;
  if (m_shown) m_output.Write("\x1b[?25h\x1b[?1049l");
  m_shown = false;
}

void Screen::Pause() {
  Leave();
  raise(SIGTTOU);  // unlike SIGSTOP it stops nobody who has no shell that could continue it
}

void Screen::Draw(const std::vector<std::string>& lines) {
  if (!IsOurs(m_output.Descriptor())) return;
  if (!m_shown) Enter();
  m_output.Write(FrameText(lines));
}

}  // namespace ssdp_peer

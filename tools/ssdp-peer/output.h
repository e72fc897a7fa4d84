// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_OUTPUT_H
#define SSDP_PEER_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "failures.h"

namespace ssdp_peer {

// The program's own output. Taking it over moves standard output away from everyone else: the lines
// that the library prints there are not the program's.
class Output {
 public:
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // False, then and from then on, when it can't be written.
  bool Write(std::string_view text);
  bool Line(std::string_view text) { return Write(std::string(text) + '\n'); }
  bool Broken() const { return m_broken; }
  // It broke for another reason than that nobody reads any more, which is no failure.
  bool Failed() const { return m_failed; }

  Failures& LibraryFailures() { return m_failures; }

  int Descriptor() const { return m_fd; }
  bool IsTerminal() const;
  struct Size {
    size_t columns;
    size_t rows;
  };
  Size TerminalSize() const;

 private:
  int m_fd;
  Failures m_failures;  // after m_fd, which is the standard output that it takes over
  bool m_broken = false;
  bool m_failed = false;
};

// While it lives, what is printed on standard error is kept instead of shown, for it would tear a
// screen that is drawn in place. At the end it goes there, a message of ours that came several
// times once, with their number.
class Captured {
 public:
  Captured();
  ~Captured();
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  // Takes in what has been printed by now. Returns the last of our messages in it, or "".
  std::string Read();

 private:
  void Keep(const std::string& line);

  struct Line {
    std::string text;
    size_t count;
  };
  int m_pipe[2];
  int m_error;
  std::string m_unfinished;  // the start of a line
  std::vector<Line> m_lines;
};

// A message of the program about itself, on standard error.
void Complain(const std::string& text);

}  // namespace ssdp_peer

#endif

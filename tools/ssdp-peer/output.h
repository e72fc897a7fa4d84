// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_OUTPUT_H
#define SSDP_PEER_OUTPUT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace ssdp_peer {

// The program's own output. Taking it over moves standard output away from everyone else: what the
// library prints there (its failure lines) goes to standard error.
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

  int Descriptor() const { return m_fd; }
  bool IsTerminal() const;
  struct Size {
    size_t columns;
    size_t rows;
  };
  Size TerminalSize() const;

 private:
  int m_fd;
  bool m_broken = false;
  bool m_failed = false;
};

// While it lives, what is printed on standard output and standard error is kept instead of shown,
// for it would tear a screen that is drawn in place. At the end it goes to standard error.
class Captured {
 public:
  Captured();
  ~Captured();
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  int Descriptor() const { return m_pipe[0]; }
  // Takes in what has been printed by now; true when there was something.
  bool Read();
  // The last message, or "". A line that begins with a space belongs to the one before it.
  std::string LastMessage() const;

 private:
  int m_pipe[2];
  int m_error;
  std::string m_text;
};

// A message of the program about itself, on standard error.
void Complain(const std::string& text);

}  // namespace ssdp_peer

#endif

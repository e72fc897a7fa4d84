// SPDX-License-Identifier: MIT
#include "failures.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace ssdp_peer {

Failures::Failures() {
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  int pipe[2];
  // Not blocking: a line that finds the pipe full shall be lost, not hold up a thread.
  if (pipe2(pipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
  dup2(pipe[1], STDOUT_FILENO);
  close(pipe[1]);
  m_pipe = pipe[0];
}

void Failures::Read() {
  char text[4096];
  ssize_t size;
  while (m_pipe >= 0 && (size = read(m_pipe, text, sizeof(text))) > 0) {
    // Each begins with its line number in brackets. What follows on lines of its own does not.
    for (ssize_t i = 0; i < size; ++i) {
      if (m_line_start && text[i] == '[') ++m_count;
      m_line_start = text[i] == '\n';
    }
    if (m_shown) std::fwrite(text, 1, static_cast<size_t>(size), stderr);
  }
}

}  // namespace ssdp_peer

// SPDX-License-Identifier: MIT
#include "loop.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "signals.h"
#include "terminal.h"

namespace ssdp_peer {

bool Loop::Wait(Clock::time_point until) {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
  const bool reading = m_input_open && IsOurs(STDIN_FILENO);
  pollfd waiting[] = {
      {m_session.Descriptor(), POLLIN, 0},
      {SignalDescriptor(), POLLIN, 0},
      {m_output.Descriptor(), 0, 0},  // only for its errors
      {reading ? STDIN_FILENO : -1, POLLIN, 0},
  };
  // At most a second, after which the input may have become ours.
  poll(waiting, 4, static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1000)));
  TakeSignals();
  m_output.LibraryFailures().Read();
  if (waiting[3].revents != 0) Read();
  return !StopAsked() && !m_output.Broken() && (waiting[2].revents & (POLLERR | POLLHUP)) == 0;
}

void Loop::Read() {
  char text[4096];
  const ssize_t size = read(STDIN_FILENO, text, sizeof(text));
  if (size > 0) m_input.append(text, static_cast<size_t>(size));
  if (size > 0 || (size < 0 && (errno == EINTR || errno == EAGAIN))) return;
  m_input_open = false;
  m_input_ended = true;
}

std::string Loop::TakeInput() {
  return std::exchange(m_input, "");
}

}  // namespace ssdp_peer

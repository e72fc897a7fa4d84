// SPDX-License-Identifier: MIT
#include "output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "signals.h"

namespace ssdp_peer {

namespace {

constexpr size_t kMostCaptured = 1000;  // lines
const char kPrefix[] = "ssdp-peer: ";   // of our messages

bool IsOurs(const std::string& line) {
  return line.rfind(kPrefix, 0) == 0;
}

// A descriptor of the three that is closed would be given to the next socket, and printed into.
void OpenMissingDescriptors() {
  for (int fd = 0; fd < 3; ++fd)
    if (fcntl(fd, F_GETFD) < 0) open("/dev/null", O_RDWR);
}

int TakeStandardOutput() {
  OpenMissingDescriptors();
  const int fd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  return fd;
}

// Whoever shares the descriptor may have made it one that doesn't block.
void AwaitRoom(int fd) {
  pollfd waiting[] = {{fd, POLLOUT, 0}, {SignalDescriptor(), POLLIN, 0}};
  poll(waiting, 2, -1);
  TakeSignals();
}

}  // namespace

Output::Output() : m_fd(TakeStandardOutput()) {}

Output::~Output() {
  close(m_fd);
}

bool Output::Write(std::string_view text) {
  while (!m_broken && !text.empty()) {
    const ssize_t written = write(m_fd, text.data(), text.size());
    const bool again = written < 0 && (errno == EINTR || errno == EAGAIN);
    if (written >= 0) {
      text.remove_prefix(static_cast<size_t>(written));
    } else if (again && !StopAsked()) {
      AwaitRoom(m_fd);
    } else {
      m_broken = true;
      m_failed = errno != EPIPE && !again;
      if (m_failed) Complain(std::string("output: ") + std::strerror(errno));
    }
  }
  return !m_broken;
}

bool Output::IsTerminal() const {
  return isatty(m_fd) != 0;
}

Output::Size Output::TerminalSize() const {
  winsize size = {};
  if (ioctl(m_fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {80, 24};
  return {size.ws_col, size.ws_row};
}

Captured::Captured() : m_error(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
  if (pipe2(m_pipe, O_CLOEXEC) != 0) {
    m_pipe[0] = m_pipe[1] = -1;  // then it is shown, and the next frame repairs the screen
    return;
  }
  fcntl(m_pipe[0], F_SETFL, O_NONBLOCK);
  dup2(m_pipe[1], STDERR_FILENO);
}

Captured::~Captured() {
  Read();
  dup2(m_error, STDERR_FILENO);
  close(m_pipe[1]);
  Read();  // what came between the two
  close(m_error);
  close(m_pipe[0]);
  for (const auto& [text, count] : m_lines)
    std::fprintf(stderr, count > 1 ? "%s (%zu times)\n" : "%s\n", text.c_str(), count);
  std::fputs(m_unfinished.c_str(), stderr);
}

std::string Captured::Read() {
  char text[4096];
  ssize_t size;
  while ((size = read(m_pipe[0], text, sizeof(text))) > 0)
    m_unfinished.append(text, static_cast<size_t>(size));
  std::string message;
  for (size_t end; (end = m_unfinished.find('\n')) != std::string::npos;) {
    const std::string line = m_unfinished.substr(0, end);
    m_unfinished.erase(0, end + 1);
    Keep(line);
    if (IsOurs(line)) message = line;
  }
  return message;
}

void Captured::Keep(const std::string& line) {
  const auto known = std::find_if(m_lines.begin(), m_lines.end(),
                                  [&](const Line& other) { return other.text == line; });
  if (known != m_lines.end() && IsOurs(line))
    ++known->count;
  else
    m_lines.push_back({line, 1});
  if (m_lines.size() > kMostCaptured) m_lines.erase(m_lines.begin());
}

void Complain(const std::string& text) {
  std::fprintf(stderr, "%s%s\n", kPrefix, text.c_str());
}

}  // namespace ssdp_peer

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_LAN_PROGRAM_H
#define LIBSSDP_TESTS_SUPPORT_LAN_PROGRAM_H

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace support {

// How long anything on the LAN is waited for. Far more than it takes on a busy machine, so that
// only what never comes is missed.
constexpr std::chrono::seconds kPatience(20);

// A file descriptor that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  int Get() const { return m_fd; }
  void Close() {
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
  }

 private:
  int m_fd;
};

// In a child about to execute something: hands it the descriptor under the number `as`. Unlike dup2
// also when it has that number already.
bool PassOn(int fd, int as);

// A program that runs in a network namespace, and dies with this object or with this process. It is
// told lines on its standard input and heard on its standard output. What can't be done is thrown
// as a std::runtime_error that says what the program has printed.
class Program {
 public:
  Program(int network, const std::vector<std::string>& command);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Tell(const std::string& line);

  // Takes in the lines printed by now, waiting up to `patience` for the first. False when there is
  // none.
  bool Listen(std::chrono::milliseconds patience);

  // All the lines printed by now.
  const std::vector<std::string>& Lines();

  // Waits until the program has printed `line`, as its line number `from` or later. Returns the
  // number of the line after it.
  size_t Await(const std::string& line, size_t from = 0, std::chrono::seconds patience = kPatience);

  // How often the program has printed `line` by now.
  size_t Count(const std::string& line);

  void Signal(int signal);

  // Waits for the end of the program; its exit status, or 128 and the signal that ended it.
  int Wait();

 private:
  std::string Transcript() const;

  pid_t m_pid;
  std::string m_name;
  Descriptor m_input;
  Descriptor m_output;
  std::string m_unfinished;  // the start of a line whose end has not been read yet
  std::vector<std::string> m_lines;
};

}  // namespace support

#endif

// SPDX-License-Identifier: MIT
#include "lan_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

std::pair<Descriptor, Descriptor> Pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// The child's side of the fork: nothing here may allocate or return.
[[noreturn]] void Execute(int network, int input, int output, pid_t parent,
                          char* const* arguments) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(126);  // it died before it could be asked
  // Whoever started us in the background may have had the others ignored.
  for (const int number : {SIGPIPE, SIGINT, SIGQUIT, SIGHUP}) signal(number, SIG_DFL);
  if (setns(network, CLONE_NEWNET) != 0 || !PassOn(input, 0) || !PassOn(output, 1)) _exit(126);
  execv(arguments[0], arguments);
  _exit(127);
}

}  // namespace

bool PassOn(int fd, int as) {
  return fd == as ? fcntl(fd, F_SETFD, 0) == 0 : dup2(fd, as) == as;
}

Program::Program(int network, const std::vector<std::string>& command) : m_name(command.at(0)) {
  auto input = Pipe();
  auto output = Pipe();
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  signal(SIGPIPE, SIG_IGN);  // telling a dead program something fails instead of ending us
  const pid_t parent = getpid();
  m_pid = fork();
  if (m_pid < 0) throw std::runtime_error("no process for " + m_name);
  if (m_pid == 0)
    Execute(network, input.first.Get(), output.second.Get(), parent, arguments.data());
  m_input = std::move(input.second);
  m_output = std::move(output.first);
}

Program::~Program() {
  if (m_pid < 0) return;
  kill(m_pid, SIGKILL);
  waitpid(m_pid, nullptr, 0);
}

void Program::Tell(const std::string& line) {
  const std::string text = line + '\n';
  if (write(m_input.Get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("can't tell \"" + line + '"' + Transcript());
}

bool Program::Listen(std::chrono::milliseconds patience) {
  pollfd waiting = {m_output.Get(), POLLIN, 0};
  if (m_output.Get() < 0 || poll(&waiting, 1, static_cast<int>(patience.count())) <= 0)
    return false;
  char text[4096];
  const ssize_t size = read(m_output.Get(), text, sizeof(text));
  if (size <= 0) {
    m_output.Close();
    return false;
  }
  m_unfinished.append(text, static_cast<size_t>(size));
  for (size_t end; (end = m_unfinished.find('\n')) != std::string::npos;) {
    m_lines.push_back(m_unfinished.substr(0, end));
    m_unfinished.erase(0, end + 1);
  }
  return true;
}

const std::vector<std::string>& Program::Lines() {
  while (Listen(std::chrono::milliseconds(0))) continue;
  return m_lines;
}

size_t Program::Await(const std::string& line, size_t from, std::chrono::seconds patience) {
  for (const auto deadline = Clock::now() + patience;;) {
    for (; from < m_lines.size(); ++from)
      if (m_lines[from] == line) return from + 1;
    if (Clock::now() > deadline || (!Listen(std::chrono::milliseconds(100)) && m_output.Get() < 0))
      throw std::runtime_error("never came: " + line + Transcript());
  }
}

size_t Program::Count(const std::string& line) {
  return static_cast<size_t>(std::count(Lines().begin(), Lines().end(), line));
}

void Program::Signal(int signal) {
  if (m_pid < 0 || kill(m_pid, signal) != 0) throw std::runtime_error("not running" + Transcript());
}

int Program::Wait() {
  for (const auto deadline = Clock::now() + kPatience; Clock::now() < deadline;) {
    int status;
    if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
      m_pid = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    if (!Listen(std::chrono::milliseconds(20)))
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  throw std::runtime_error("doesn't end" + Transcript());
}

std::string Program::Transcript() const {
  std::string text = "\n" + m_name + " has printed:";
  for (const auto& line : m_lines) text += "\n    " + line;
  return text;
}

}  // namespace support

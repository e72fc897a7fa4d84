// SPDX-License-Identifier: MIT
#include "report.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace libSSDP {

namespace {

// A thread that is just printing gets 10 ms to let go of the lock.
bool LockOutput() {
  for (int waited = 0; ftrylockfile(stdout) != 0; ++waited) {
    if (waited == 10) return false;
    usleep(1000);
  }
  return true;
}

// A pipe without a reader isn't writable: the line would raise SIGPIPE.
bool IsOutputWritable() {
  struct pollfd output = {fileno(stdout), POLLOUT, 0};
  if (output.fd < 0) return true;  // a stream in memory
  return poll(&output, 1, 0) == 1 && output.revents == POLLOUT;
}

}  // namespace

LineOutput::LineOutput()
    : m_errno(errno), m_locked(LockOutput()), m_ready(m_locked && IsOutputWritable()) {}

LineOutput::~LineOutput() {
  if (m_locked) funlockfile(stdout);
  errno = m_errno;
}

bool ReportFailure(int line, const char* function, const char* condition, const char* file) {
  const LineOutput output;
  if (output.IsReady()) std::printf("[%d] %s: %s failed. \n %s\n", line, function, condition, file);
  return false;
}

bool ReportFailure(int line, const char* function, const char* condition, const char* reason,
                   const char* file) {
  const LineOutput output;
  if (output.IsReady())
    std::printf("[%d] %s: %s failed. (%s) \n %s\n", line, function, condition, reason, file);
  return false;
}

}  // namespace libSSDP

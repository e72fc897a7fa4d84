// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_REPORT_H
#define LIBSSDP_SOURCE_REPORT_H

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

// The failure line, the library's only log: standard output, one printf a line, so that lines of
// several threads don't mix. The file is relative to the source tree, wherever it was built.
//
// A check is an expression that is true when its condition holds and reports and is false when it
// does not, so that the reader sees at the place what a failure leads to:
//
//   if (!SSDP_CHECK(Start() == SSDP_SUCCESS)) return SSDP_FAILURE;
//   SSDP_CHECK_REASON((m_handle >= 0), "error creating socket");   // and carries on
//
// The condition is evaluated once, a reason only when it fails. The line shows the condition's text
// as it stands in the source, so where that text is odd the formatter is switched off around it.
#define SSDP_CHECK(condition) ((condition) ? true : SSDP_REPORT(#condition))
#define SSDP_CHECK_REASON(condition, reason) \
  ((condition) ? true : ::libSSDP::ReportFailure(__LINE__, __func__, #condition, reason, __FILE__))

// The line alone, for a failure that isn't one expression. Always false.
#define SSDP_REPORT(text) (::libSSDP::ReportFailure(__LINE__, __func__, text, __FILE__))

namespace libSSDP {

// Holds standard output for one line, unless that could block: a pipe that nobody reads, or a
// thread that hangs with the stream's lock, must not stop a thread of the library. The line is
// dropped then. Keeps errno, so that a caller can still look at the failed call's own.
class LineOutput {
 public:
  LineOutput() : m_errno(errno), m_locked(Lock()), m_ready(m_locked && IsWritable()) {}
  ~LineOutput() {
    if (m_locked) funlockfile(stdout);
    errno = m_errno;
  }
  LineOutput(const LineOutput&) = delete;
  LineOutput& operator=(const LineOutput&) = delete;

  bool IsReady() const { return m_ready; }

 private:
  // A thread that is just printing gets 10 ms to let go of the lock.
  static bool Lock() {
    for (int waited = 0; ftrylockfile(stdout) != 0; ++waited) {
      if (waited == 10) return false;
      usleep(1000);
    }
    return true;
  }

  // A pipe without a reader isn't writable: the line would raise SIGPIPE.
  static bool IsWritable() {
    struct pollfd output = {fileno(stdout), POLLOUT, 0};
    if (output.fd < 0) return true;  // a stream in memory
    return poll(&output, 1, 0) == 1 && output.revents == POLLOUT;
  }

  const int m_errno;
  const bool m_locked;
  const bool m_ready;
};

[[gnu::cold]] inline bool ReportFailure(int line, const char* function, const char* condition,
                                        const char* file) {
  const LineOutput output;
  if (output.IsReady()) std::printf("[%d] %s: %s failed. \n %s\n", line, function, condition, file);
  return false;
}

[[gnu::cold]] inline bool ReportFailure(int line, const char* function, const char* condition,
                                        const char* reason, const char* file) {
  const LineOutput output;
  if (output.IsReady())
    std::printf("[%d] %s: %s failed. (%s) \n %s\n", line, function, condition, reason, file);
  return false;
}

}  // namespace libSSDP

#endif

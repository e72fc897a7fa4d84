// SPDX-License-Identifier: MIT
#include "report.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__linux__)
#include <stdio_ext.h>
#include <sys/ioctl.h>
#endif

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

namespace libSSDP {

namespace {

constexpr size_t LONGEST_LINE = 1024;

// Waits at most 10 ms for a thread that is printing.
bool Lock(std::FILE* stream) {
  for (int waited = 0; ftrylockfile(stream) != 0; ++waited) {
    if (waited == 10) return false;
    usleep(1000);
  }
  return true;
}

// A pipe without a reader isn't writable: the line would raise SIGPIPE. If poll fails, print.
bool IsWritable(int fd) {
  struct pollfd output = {fd, POLLOUT, 0};
  const int ready = poll(&output, 1, 0);
  return ready < 0 || (ready == 1 && output.revents == POLLOUT);
}

// A writable terminal may still block, for it may have room for a part of the line only. So it is
// written through a description of its own that doesn't block, and drops the line or its end. False
// when the terminal can't be opened: printing is then worth the risk, for descriptors may be short.
bool PrintOnTerminal(int fd, const char* line) {
  char name[64];
  if (ttyname_r(fd, name, sizeof(name)) != 0) return false;
  const int terminal = open(name, O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (terminal < 0) return false;
  static_cast<void>(write(terminal, line, std::strlen(line)) == 0);
  close(terminal);
  return true;
}

// Whether a writable pipe or socket has room for all that printing `line` may write. It takes
// PIPE_BUF bytes. A fully buffered stream writes its buffer, which the application may have
// enlarged (setvbuf); a line-buffered one also writes the line.
bool FitsPipe([[maybe_unused]] std::FILE* stream, [[maybe_unused]] int fd,
              [[maybe_unused]] const char* line) {
#if defined(__linux__)
  const size_t buffer = __fbufsize(stream);
  const size_t needed = __fpending(stream) + std::strlen(line);
  const bool stays_in_buffer = __flbf(stream) == 0 && needed < buffer;
  const bool writes_buffer_only = __flbf(stream) == 0 && buffer <= PIPE_BUF;
  if (stays_in_buffer || writes_buffer_only || needed <= PIPE_BUF) return true;
  int queued = -1;
  const int size = fcntl(fd, F_GETPIPE_SZ);
  return ioctl(fd, FIONREAD, &queued) == 0 && queued == 0 && size >= static_cast<int>(needed);
#else
  return true;
#endif
}

void PrintUnlessBlocked(std::FILE* stream, const char* line) {
  const int fd = fileno(stream);
  struct stat status = {};
  if (fd >= 0) {  // otherwise a stream in memory
    if (fstat(fd, &status) != 0 || !IsWritable(fd)) return;
    if (S_ISCHR(status.st_mode) && isatty(fd) != 0 && PrintOnTerminal(fd, line)) return;
    const bool is_pipe = S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
    if (is_pipe && !FitsPipe(stream, fd, line)) return;
  }
  static_cast<void>(std::fputs(line, stream));  // nothing to do about a failure
}

}  // namespace

void PrintLine(const char* line) {
  const int saved_errno = errno;
  int cancel_state = 0;
  // A thread cancelled while it prints would leave the stream locked.
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
  std::FILE* const stream = stdout;
  if (Lock(stream)) {
    PrintUnlessBlocked(stream, line);
    funlockfile(stream);
  }
  pthread_setcancelstate(cancel_state, nullptr);
  errno = saved_errno;
}

bool ReportFailure(int line, const char* function, const char* condition, const char* file) {
  char text[LONGEST_LINE];
  static_cast<void>(std::snprintf(text, sizeof(text), "[%d] %s: %s failed. \n %s\n", line, function,
                                  condition, file));
  PrintLine(text);
  return false;
}

bool ReportFailure(int line, const char* function, const char* condition, const char* reason,
                   const char* file) {
  char text[LONGEST_LINE];
  static_cast<void>(std::snprintf(text, sizeof(text), "[%d] %s: %s failed. (%s) \n %s\n", line,
                                  function, condition, reason, file));
  PrintLine(text);
  return false;
}

}  // namespace libSSDP

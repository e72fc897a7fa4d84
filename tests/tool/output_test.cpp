// SPDX-License-Identifier: MIT
#include "output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>

#include "signals.h"

namespace ssdp_peer {
namespace {

const std::string kMoreThanAPipeHolds(300000, 'x');

// Writes to a pipe that never blocks, in a process of its own, whose standard output it is.
class Writer {
 public:
  Writer() {
    if (pipe(m_pipe) != 0) throw std::runtime_error("no pipe");
    m_pid = fork();
    if (m_pid == 0) Write();
    close(m_pipe[1]);
  }
  ~Writer() { close(m_pipe[0]); }

  std::string Read(size_t most) {
    std::string text(most, ' ');
    const ssize_t size = read(m_pipe[0], text.data(), most);
    text.resize(size > 0 ? static_cast<size_t>(size) : 0);
    return text;
  }
  void Stop() const { kill(m_pid, SIGTERM); }
  int Wait() const {
    int status = 0;
    waitpid(m_pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }

 private:
  [[noreturn]] void Write() {
    close(m_pipe[0]);
    fcntl(m_pipe[1], F_SETFL, O_NONBLOCK);
    dup2(m_pipe[1], STDOUT_FILENO);
    CatchSignals();
    Output output;
    const bool written = output.Write(kMoreThanAPipeHolds);
    _exit(written ? 0 : output.Failed() ? 1 : 2);
  }

  int m_pipe[2];
  pid_t m_pid;
};

TEST(Output, WaitsForTheReaderOfWhatWouldBlock) {
  Writer writer;
  std::string all;
  for (std::string part; !(part = writer.Read(1000)).empty();) all += part;
  EXPECT_EQ(all.size(), kMoreThanAPipeHolds.size());
  EXPECT_EQ(writer.Wait(), 0);
}

TEST(Output, ASignalEndsTheWaitForAReader) {
  Writer writer;
  EXPECT_EQ(writer.Read(1), "x");  // it has begun to write, and can't come to the end
  writer.Stop();
  EXPECT_EQ(writer.Wait(), 2);
}

}  // namespace
}  // namespace ssdp_peer

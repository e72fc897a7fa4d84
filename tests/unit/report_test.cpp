// SPDX-License-Identifier: MIT
#include "report.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <thread>

#include "output.h"
#include "seam.h"

namespace libSSDP {
namespace {

using support::OutputOf;

std::string RawOutputOf(const std::function<void()>& run) {
  const support::Output output;
  run();
  return output.Raw();
}

TEST(FailureLine, HasLineFunctionConditionAndFile) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(45, "Init", "a == b", "source/x.cpp"); }),
            "[45] Init: a == b failed. \n source/x.cpp\n");
}

TEST(FailureLine, HasTheReasonInParentheses) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(45, "Init", "a == b", "why", "source/x.cpp"); }),
            "[45] Init: a == b failed. (why) \n source/x.cpp\n");
}

TEST(FailureLine, TakesNoFormatFromItsTexts) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(1, "%s", "%d", "%n", "%%"); }),
            "[1] %s: %d failed. (%n) \n %%\n");
}

TEST(FailureLine, KeepsErrno) {
  int after = 0, after_reason = 0;
  OutputOf([&] {
    errno = EBUSY;
    ReportFailure(1, "f", "c", "x");
    after = errno;
    ReportFailure(1, "f", "c", "r", "x");
    after_reason = errno;
  });
  EXPECT_EQ(after, EBUSY);
  EXPECT_EQ(after_reason, EBUSY);
}

TEST(FailureLine, IsCutWhenItIsVeryLong) {
  const std::string reason(5000, 'r');
  const std::string line = RawOutputOf([&] { ReportFailure(1, "f", "c", reason.c_str(), "x"); });
  EXPECT_EQ(line, ("[1] f: c failed. (" + reason).substr(0, 1023));
}

// Standard output as the test needs it, and as it was afterwards.
class OutputThatTakesNothing : public testing::Test {
 protected:
  OutputThatTakesNothing() {
    std::fflush(stdout);
    EXPECT_EQ(pipe2(m_pipe, O_CLOEXEC), 0);
  }
  ~OutputThatTakesNothing() override {
    seam::Reset();
    dup2(m_saved, STDOUT_FILENO);
    for (const int fd : {m_saved, m_pipe[0], m_pipe[1]}) close(fd);
  }

  void FillPipe() {
    fcntl(m_pipe[1], F_SETFL, O_NONBLOCK);
    while (write(m_pipe[1], "full", 4) > 0) {
    }
    fcntl(m_pipe[1], F_SETFL, 0);
    dup2(m_pipe[1], STDOUT_FILENO);
  }

  // Fails when a line blocks.
  void ReportAndFlush(int lines = 1) {
    auto reported = std::async(std::launch::async, [lines] {
      for (int i = 0; i < lines; ++i) {
        errno = EBUSY;
        ReportFailure(1, "f", "c", "x");
        ReportFailure(1, "f", "c", "reason", "x");
        EXPECT_EQ(errno, EBUSY);
      }
      std::fflush(stdout);
    });
    const bool returned = reported.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(returned);
    if (!returned) ReadPipe();  // lets it go
  }

  std::string ReadPipe() {
    fcntl(m_pipe[0], F_SETFL, O_NONBLOCK);
    std::string text;
    char bytes[4096];
    for (ssize_t got; (got = read(m_pipe[0], bytes, sizeof(bytes))) > 0;)
      text.append(bytes, static_cast<size_t>(got));
    return text;
  }

  const int m_saved = dup(STDOUT_FILENO);
  int m_pipe[2];
};

TEST_F(OutputThatTakesNothing, DropsTheLineWhenThePipeIsFull) {
  FillPipe();
  ReportAndFlush();
  EXPECT_THAT(ReadPipe(), testing::Not(testing::HasSubstr("failed")));
}

TEST_F(OutputThatTakesNothing, DropsTheLineWhenNobodyReadsThePipe) {
  struct sigaction seen = {}, before = {};
  static std::atomic<int> signals;
  signals = 0;
  seen.sa_handler = [](int) { ++signals; };
  sigaction(SIGPIPE, &seen, &before);
  dup2(m_pipe[1], STDOUT_FILENO);
  close(m_pipe[0]);
  ReportAndFlush();
  sigaction(SIGPIPE, &before, nullptr);
  m_pipe[0] = -1;
  EXPECT_EQ(signals, 0);
}

TEST_F(OutputThatTakesNothing, DropsTheLineWhenTheDescriptorIsClosed) {
  close(STDOUT_FILENO);
  ReportAndFlush();
  dup2(m_saved, STDOUT_FILENO);
  EXPECT_EQ(std::fflush(stdout), 0);
  EXPECT_FALSE(std::ferror(stdout));
}

TEST_F(OutputThatTakesNothing, GoesOnAfterADeviceThatIsFull) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  dup2(full, STDOUT_FILENO);
  close(full);
  ReportAndFlush();
  std::clearerr(stdout);
}

// Flushing the stream's buffer would block: it is larger than the pipe.
TEST_F(OutputThatTakesNothing, DropsTheLineThatWouldFlushMoreThanThePipeTakes) {
  static char buffer[1 << 20];  // the stream's until the end of the process
  std::setvbuf(stdout, buffer, _IOFBF, sizeof(buffer));
  dup2(m_pipe[1], STDOUT_FILENO);
  auto reported = std::async(std::launch::async, [] {
    for (int i = 0; i < 60000; ++i) ReportFailure(1, "f", "condition", "x");
  });
  bool returned = reported.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  EXPECT_TRUE(returned);
  for (; !returned;
       returned = reported.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready)
    ReadPipe();
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  std::fflush(stdout);
  close(nowhere);
}

// A line-buffered stream writes its buffer and then the line: more than a pipe with one page takes.
TEST_F(OutputThatTakesNothing, DropsTheLineThatWouldFollowALongUnfinishedOne) {
  static char buffer[4096];  // the stream's until the end of the process
  std::setvbuf(stdout, buffer, _IOLBF, sizeof(buffer));
  fcntl(m_pipe[1], F_SETPIPE_SZ, 4096);
  dup2(m_pipe[1], STDOUT_FILENO);
  std::fputs(std::string(4000, '#').c_str(), stdout);
  auto reported = std::async(std::launch::async,
                             [] { ReportFailure(1, "f", std::string(300, 'c').c_str(), "x"); });
  const bool returned = reported.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  EXPECT_TRUE(returned);
  std::string text = ReadPipe();
  reported.wait();
  std::fflush(stdout);
  text += ReadPipe();
  EXPECT_EQ(text, std::string(4000, '#'));
}

TEST_F(OutputThatTakesNothing, DropsTheLineThatATerminalHasNoRoomFor) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(grantpt(master) + unlockpt(master), 0);
  char name[64];
  ASSERT_EQ(ptsname_r(master, name, sizeof(name)), 0);
  const int terminal = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  dup2(terminal, STDOUT_FILENO);
  close(m_pipe[0]);
  m_pipe[0] = dup(master);  // which ReadPipe empties should a line block
  ReportAndFlush(3000);
  EXPECT_THAT(ReadPipe(), testing::StartsWith("[1] f: c failed. \r\n x\r\n[1] f: c failed. (r"));
  close(terminal);
  close(master);
}

TEST_F(OutputThatTakesNothing, IsUnlockedWhenItsThreadIsCancelled) {
  dup2(m_pipe[1], STDOUT_FILENO);
  std::thread([] {
    pthread_cancel(pthread_self());
    ReportFailure(1, "f", "c", "x");
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);  // reached: no point of it was one
    std::fflush(stdout);
  }).join();
  EXPECT_EQ(ftrylockfile(stdout), 0);
  funlockfile(stdout);
  EXPECT_EQ(ReadPipe(), "[1] f: c failed. \n x\n");
}

TEST_F(OutputThatTakesNothing, IsWrittenWherePollIsRefused) {
  dup2(m_pipe[1], STDOUT_FILENO);
  rlimit before = {};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none = {0, before.rlim_max};  // poll fails with EINVAL
  setrlimit(RLIMIT_NOFILE, &none);
  ReportFailure(1, "f", "c", "x");
  setrlimit(RLIMIT_NOFILE, &before);
  std::fflush(stdout);
  EXPECT_EQ(ReadPipe(), "[1] f: c failed. \n x\n");
}

// A thread that has locked standard output, until it is told to let go.
class LockHolder {
 public:
  LockHolder() {
    std::promise<void> locked;
    m_thread = std::thread([&locked, this] {
      flockfile(stdout);
      locked.set_value();
      m_release.get_future().wait();
      funlockfile(stdout);
    });
    locked.get_future().wait();
  }
  void Release() {
    m_release.set_value();
    m_thread.join();
  }

 private:
  std::promise<void> m_release;
  std::thread m_thread;
};

TEST_F(OutputThatTakesNothing, DropsTheLineWhenAThreadHangsWithTheLock) {
  int pauses = 0;
  seam::calls.usleep = [&](useconds_t microseconds) {
    EXPECT_EQ(microseconds, 1000u);
    ++pauses;
    return 0;
  };
  dup2(m_pipe[1], STDOUT_FILENO);
  LockHolder holder;
  const bool result = ReportFailure(1, "f", "c", "x");
  holder.Release();
  std::fflush(stdout);
  EXPECT_FALSE(result);
  EXPECT_EQ(pauses, 10);
  EXPECT_EQ(ReadPipe(), "");
}

TEST_F(OutputThatTakesNothing, DropsTheLineWhileTheApplicationHangsInAPrintOfItsOwn) {
  FillPipe();
  std::thread application([] {
    std::fputs(std::string(100000, '#').c_str(), stdout);  // blocks, with the stream's lock
    std::fflush(stdout);
  });
  while (ftrylockfile(stdout) == 0) {
    funlockfile(stdout);
    std::this_thread::yield();
  }
  const bool result = ReportFailure(1, "f", "c", "x");
  std::string text;
  std::atomic<bool> printed{false};
  std::thread end([&] {
    application.join();
    printed = true;
  });
  while (!printed) text += ReadPipe();
  end.join();
  text += ReadPipe();
  EXPECT_FALSE(result);
  EXPECT_THAT(text, testing::Not(testing::HasSubstr("failed")));
}

TEST_F(OutputThatTakesNothing, WaitsForAThreadThatIsJustPrinting) {
  dup2(m_pipe[1], STDOUT_FILENO);
  LockHolder holder;
  seam::calls.usleep = [&](useconds_t) {
    holder.Release();
    return 0;
  };
  ReportFailure(1, "f", "c", "x");
  std::fflush(stdout);
  EXPECT_EQ(ReadPipe(), "[1] f: c failed. \n x\n");
}

TEST_F(OutputThatTakesNothing, LetsGoOfTheLock) {
  FillPipe();
  ReportFailure(1, "f", "c", "x");
  int locked = -1;
  std::thread([&] {
    locked = ftrylockfile(stdout);
    if (locked == 0) funlockfile(stdout);
  }).join();
  EXPECT_EQ(locked, 0);
}

TEST(FailureLine, IsPrintedIntoAStreamInMemory) {
  char* text = nullptr;
  size_t length = 0;
  std::FILE* const memory = open_memstream(&text, &length);
  std::FILE* const before = std::exchange(stdout, memory);
  ReportFailure(1, "f", "c", "x");
  stdout = before;
  std::fclose(memory);
  EXPECT_STREQ(text, "[1] f: c failed. \n x\n");
  std::free(text);
}

TEST(CheckMacro, IsTrueAndSilentWhenItsConditionHolds) {
  bool plain = false, reasoned = false;
  const std::string output = OutputOf([&] {
    plain = SSDP_CHECK(1 + 1 == 2);
    reasoned = SSDP_CHECK_REASON(1 + 1 == 2, "never");
  });
  EXPECT_TRUE(plain);
  EXPECT_TRUE(reasoned);
  EXPECT_EQ(output, "");
}

TEST(CheckMacro, IsFalseAndPrintsItsConditionAsItStands) {
  bool plain = true;
  const int one = 1;
  const std::string output = OutputOf([&] { plain = SSDP_CHECK(one == 2); });
  EXPECT_FALSE(plain);
  EXPECT_EQ(output, "[#] operator(): one == 2 failed. \n tests/unit/report_test.cpp\n");
}

TEST(CheckMacro, PrintsTheLineItIsIn) {
  int line = 0;
  const std::string output = RawOutputOf([&] {
    line = __LINE__ + 1;
    SSDP_CHECK(line == 0);
  });
  EXPECT_THAT(output, testing::StartsWith("[" + std::to_string(line) + "] "));
}

TEST(CheckMacro, EvaluatesItsConditionOnce) {
  int evaluated = 0;
  OutputOf([&] { SSDP_CHECK(++evaluated == 0); });
  EXPECT_EQ(evaluated, 1);
}

TEST(CheckMacro, EvaluatesItsReasonOnlyWhenItFails) {
  int evaluated = 0;
  const auto reason = [&] {
    ++evaluated;
    return "reason";
  };
  SSDP_CHECK_REASON(1 + 1 == 2, reason());
  EXPECT_EQ(evaluated, 0);
  EXPECT_THAT(OutputOf([&] { SSDP_CHECK_REASON(1 + 1 == 3, reason()); }),
              testing::HasSubstr("(reason)"));
  EXPECT_EQ(evaluated, 1);
}

TEST(CheckMacro, LeavesMacrosInItsConditionAlone) {
  const void* pointer = "";
  EXPECT_THAT(OutputOf([&] { SSDP_CHECK(pointer == NULL); }),
              testing::HasSubstr(": pointer == NULL failed."));
}

}  // namespace
}  // namespace libSSDP

// SPDX-License-Identifier: MIT
#include "worker.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <thread>

#include "output.h"
#include "seam.h"

namespace libSSDP {
namespace {

using support::OutputOf;

constexpr char kCreateFailed[] =
    "[#] Start: pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0 failed. \n"
    " source/worker.cpp\n";
constexpr char kJoinFailed[] =
    "[#] Join: pthread_join(m_handle, NULL) == 0 failed. \n source/worker.cpp\n";

// Counts its runs and runs what the test gives it.
class Worker : public WorkerThread {
 public:
  int Task() override {
    ++m_runs;
    if (m_body) m_body();
    return 7;  // discarded
  }

  using WorkerThread::NameThisThread;
  std::atomic<int> m_runs{0};
  std::function<void()> m_body;
};

class WorkerThreads : public testing::Test {
 protected:
  ~WorkerThreads() override { seam::Reset(); }

  // Has thread creation fail, or be counted without a thread.
  void ScriptCreation(int result) {
    seam::calls.pthread_create = [this, result](pthread_t*, const pthread_attr_t* attributes,
                                                void* (*entry)(void*), void* argument) {
      ++m_created;
      m_attributes = attributes;
      m_entry = entry;
      m_argument = argument;
      m_flag_at_creation = m_worker.IsStarted();
      return result;
    };
  }

  Worker m_worker;
  int m_created = 0;
  const pthread_attr_t* m_attributes = nullptr;
  void* (*m_entry)(void*) = nullptr;
  void* m_argument = nullptr;
  bool m_flag_at_creation = false;
};

TEST_F(WorkerThreads, AreNotStartedWhenConstructed) {
  EXPECT_FALSE(m_worker.IsStarted());
  EXPECT_EQ(m_worker.m_runs, 0);
}

TEST_F(WorkerThreads, RunTheirTaskOnAThreadOfTheirOwn) {
  std::thread::id id;
  m_worker.m_body = [&] { id = std::this_thread::get_id(); };
  EXPECT_EQ(m_worker.Start(), 0);
  EXPECT_EQ(m_worker.Join(), 0);
  EXPECT_EQ(m_worker.m_runs, 1);
  EXPECT_NE(id, std::this_thread::get_id());
}

TEST_F(WorkerThreads, FindTheFlagSetFromTheFirstTest) {
  ScriptCreation(0);
  m_worker.Start();
  EXPECT_TRUE(m_flag_at_creation);
  EXPECT_TRUE(m_worker.IsStarted());
}

TEST_F(WorkerThreads, CreateAJoinableThreadWithDefaultAttributes) {
  ScriptCreation(0);
  m_worker.Start();
  EXPECT_EQ(m_created, 1);
  EXPECT_EQ(m_attributes, nullptr);
}

TEST_F(WorkerThreads, IgnoreTheResultOfTheirTask) {
  ScriptCreation(0);
  m_worker.Start();
  EXPECT_EQ(m_entry(m_argument), nullptr);
  EXPECT_EQ(m_worker.m_runs, 1);
}

TEST_F(WorkerThreads, CreateOneThreadWhenStartedTwice) {
  ScriptCreation(0);
  EXPECT_EQ(m_worker.Start(), 0);
  EXPECT_EQ(m_worker.Start(), 0);
  EXPECT_EQ(m_created, 1);
}

TEST_F(WorkerThreads, ClearTheFlagAndNothingElseInStop) {
  std::promise<void> stopped;
  m_worker.m_body = [&] { stopped.get_future().wait(); };
  m_worker.Start();
  EXPECT_EQ(m_worker.Stop(), 0);  // while the task still runs
  EXPECT_FALSE(m_worker.IsStarted());
  stopped.set_value();
  EXPECT_EQ(m_worker.Join(), 0);
}

TEST_F(WorkerThreads, MayBeStoppedWithoutHavingBeenStarted) {
  EXPECT_EQ(OutputOf([this] { EXPECT_EQ(m_worker.Stop(), 0); }), "");
  EXPECT_FALSE(m_worker.IsStarted());
}

TEST_F(WorkerThreads, SeeTheFlagClearedByAnotherThread) {
  std::promise<void> running;
  m_worker.m_body = [&] {
    running.set_value();
    while (m_worker.IsStarted()) std::this_thread::yield();
  };
  m_worker.Start();
  running.get_future().wait();
  m_worker.Stop();
  EXPECT_EQ(m_worker.Join(), 0);
}

TEST_F(WorkerThreads, StartAgainWithAFreshThreadAfterStopAndJoin) {
  for (int run = 1; run <= 3; ++run) {
    EXPECT_EQ(m_worker.Start(), 0);
    EXPECT_EQ(m_worker.Join(), 0);
    EXPECT_EQ(m_worker.m_runs, run);
    m_worker.Stop();
  }
}

TEST_F(WorkerThreads, KeepTheFlagWhenTheThreadCannotBeCreated) {
  ScriptCreation(EAGAIN);
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_worker.Start(); }), kCreateFailed);
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(m_worker.IsStarted());
}

TEST_F(WorkerThreads, DoNothingInStartAfterAFailureUntilTheyWereStopped) {
  ScriptCreation(EAGAIN);
  OutputOf([&] { m_worker.Start(); });
  EXPECT_EQ(m_worker.Start(), 0);
  EXPECT_EQ(m_created, 1);
  m_worker.Stop();
  ScriptCreation(0);
  EXPECT_EQ(m_worker.Start(), 0);
  EXPECT_EQ(m_created, 2);
}

TEST_F(WorkerThreads, FailToJoinWhatWasNeverStarted) {
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_worker.Join(); }), kJoinFailed);
  EXPECT_EQ(status, 1);
}

TEST_F(WorkerThreads, FailToJoinTwice) {
  m_worker.Start();
  EXPECT_EQ(m_worker.Join(), 0);
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_worker.Join(); }), kJoinFailed);
  EXPECT_EQ(status, 1);
}

TEST_F(WorkerThreads, ReportAJoinThatTheSystemRefuses) {
  ScriptCreation(0);
  m_worker.Start();
  seam::calls.pthread_join = [](pthread_t, void**) { return EDEADLK; };
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_worker.Join(); }), kJoinFailed);
  EXPECT_EQ(status, 1);
}

TEST_F(WorkerThreads, DiscardTheirThreadsExitValue) {
  ScriptCreation(0);
  m_worker.Start();
  void** result = reinterpret_cast<void**>(this);
  seam::calls.pthread_join = [&](pthread_t, void** into) {
    result = into;
    return 0;
  };
  EXPECT_EQ(m_worker.Join(), 0);
  EXPECT_EQ(result, nullptr);
}

TEST_F(WorkerThreads, BlockEverySignalInTheirThread) {
  sigset_t mask;
  sigemptyset(&mask);
  m_worker.m_body = [&] { pthread_sigmask(SIG_SETMASK, nullptr, &mask); };
  m_worker.Start();
  m_worker.Join();
  for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGPIPE, SIGRTMIN}) {
    EXPECT_EQ(sigismember(&mask, signal), 1) << strsignal(signal);
  }
}

// Restores the calling thread's mask.
class MaskKeeper {
 public:
  MaskKeeper() { pthread_sigmask(SIG_SETMASK, nullptr, &m_mask); }
  ~MaskKeeper() { pthread_sigmask(SIG_SETMASK, &m_mask, nullptr); }

 private:
  sigset_t m_mask;
};

TEST_F(WorkerThreads, GiveTheirStarterItsOwnMaskBack) {
  const MaskKeeper keeper;
  sigset_t own, after;
  sigemptyset(&own);
  sigaddset(&own, SIGUSR2);
  pthread_sigmask(SIG_SETMASK, &own, nullptr);
  for (int result : {0, EAGAIN}) {
    ScriptCreation(result);
    OutputOf([&] { m_worker.Start(); });
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
    EXPECT_EQ(sigismember(&after, SIGINT), 0);
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
    m_worker.Stop();
  }
}

TEST_F(WorkerThreads, CanNameTheirThread) {
  char name[16] = "";
  m_worker.m_body = [&] {
    Worker::NameThisThread("ssdp-worker");
    pthread_getname_np(pthread_self(), name, sizeof(name));
  };
  m_worker.Start();
  m_worker.Join();
  EXPECT_STREQ(name, "ssdp-worker");
}

}  // namespace
}  // namespace libSSDP

// SPDX-License-Identifier: MIT
// The library in someone else's process: what forks, executes and is sent signals.
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>

#include "application.h"
#include "messages.h"
#include "peer.h"
#include "process.h"
#include "seam.h"

namespace {

using testing::IsEmpty;

std::atomic<int> events{0};

void CountEvents(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int, void*) {
  ++events;
}

// The library's threads by their /proc entries.
std::vector<std::string> LibraryThreads() {
  std::vector<std::string> threads;
  DIR* directory = opendir("/proc/self/task");
  while (const dirent* entry = readdir(directory))
    if (support::ThreadName(entry->d_name).rfind("ssdp-", 0) == 0) threads.push_back(entry->d_name);
  closedir(directory);
  return threads;
}

// What a child that runs `work` writes to its standard output.
template <typename Work>
std::string OutputOfChild(Work work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    work();
    _exit(1);
  }
  close(ends[1]);
  std::string output;
  char text[1024];
  ssize_t length;
  while ((length = read(ends[0], text, sizeof(text))) > 0)
    output.append(text, static_cast<size_t>(length));
  close(ends[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << output;
  return output;
}

// Only calls that are allowed in the child of a process with threads.
void WriteThreadCount() {
  char text[2048];
  const int file = open("/proc/self/status", O_RDONLY);
  const ssize_t length = read(file, text, sizeof(text) - 1);
  text[length > 0 ? length : 0] = '\0';
  const char* line = std::strstr(text, "Threads:");
  if (line != nullptr && write(STDOUT_FILENO, line, std::strcspn(line, "\n")) > 0) _exit(0);
}

void ListDescriptors() {
  execl("/bin/ls", "ls", "-l", "/proc/self/fd", nullptr);
}

class Process : public testing::Test {
 protected:
  // Devices are heard all the time that the body runs.
  template <typename Body>
  void WhileTrafficRuns(Body body) {
    events = 0;
    support::Application application(true, CountEvents);
    application.Start();
    std::atomic<bool> over{false};
    std::thread traffic([&] {
      support::Peer peer;
      for (int i = 0; !over; ++i) {
        peer.Send(support::Alive("device-" + std::to_string(i % 50), "on"));
        std::this_thread::sleep_for(std::chrono::microseconds(200));
      }
    });
    EXPECT_TRUE(support::Await([] { return events > 10; }));
    body();
    const int heard = events;
    EXPECT_TRUE(support::Await([&] { return events > heard; })) << "deaf after it";
    over = true;
    traffic.join();
  }
};

TEST_F(Process, AChildHasNoneOfTheThreads) {
  WhileTrafficRuns([] {
    const int count = support::Scaled("forks", 100);
    for (int i = 0; i < count; ++i) ASSERT_EQ(OutputOfChild(WriteThreadCount), "Threads:\t1");
  });
}

TEST_F(Process, AnotherProgramGetsNoneOfTheSockets) {
  // Sockets that the test runner left open are none of the library's.
  const std::set<std::string> others = support::Sockets();
  WhileTrafficRuns([&] {
    const std::set<std::string> open = support::Sockets();
    EXPECT_EQ(open.size(), others.size() + 3);  // two of the library's, one of the traffic's
    const int count = support::Scaled("programs executed", 50);
    for (int i = 0; i < count; ++i) {
      const std::string list = OutputOfChild(ListDescriptors);
      ASSERT_NE(list.find("/proc"), std::string::npos) << list;
      for (const std::string& socket : open)
        ASSERT_TRUE(others.count(socket) > 0 || list.find(socket) == std::string::npos) << list;
    }
  });
}

TEST_F(Process, EveryThreadOfTheLibraryBlocksEverySignal) {
  WhileTrafficRuns([] {
    EXPECT_TRUE(
        support::Await([] { return LibraryThreads().size() == 3; }));  // named by themselves
    const std::vector<std::string> threads = LibraryThreads();
    for (const std::string& thread : threads) {
      std::ifstream status("/proc/self/task/" + thread + "/status");
      std::string line;
      while (line.rfind("SigBlk:", 0) != 0 && std::getline(status, line)) continue;
      const unsigned long long blocked = std::stoull(line.substr(8), nullptr, 16);
      for (int number = 1; number < 32; ++number) {
        if (number == SIGKILL || number == SIGSTOP) continue;
        EXPECT_TRUE((blocked >> (number - 1) & 1) != 0)
            << support::ThreadName(thread.c_str()) << " lets signal " << number << " through";
      }
    }
  });
}

thread_local bool is_ours = false;
std::atomic<int> handled_by_us{0};
std::atomic<int> handled_by_library{0};

void Handle(int) {
  ++(is_ours ? handled_by_us : handled_by_library);
}

TEST_F(Process, AStormOfSignalsReachesOnlyTheApplicationsThreads) {
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = Handle;  // without SA_RESTART, so that every call is interrupted
  ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
  is_ours = true;
  seam::calls.rand = [] { return 0; };  // we answer our own searches: at once
  {
    support::Application application(true, CountEvents);
    application.Start();
    sigset_t storm_only;
    sigemptyset(&storm_only);
    sigaddset(&storm_only, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &storm_only, nullptr);
    std::atomic<bool> over{false};
    std::thread storm([&] {  // blocks the signal itself
      while (!over) kill(getpid(), SIGUSR1);
    });
    pthread_sigmask(SIG_UNBLOCK, &storm_only, nullptr);

    support::Peer peer;
    const int count = support::Scaled("calls under signals", 5000);
    const double deadline = support::Now() + 60;
    for (int i = 0; i < count || (handled_by_us < 200 && support::Now() < deadline); ++i) {
      ASSERT_EQ(libSSDP::Announce(), 0);
      ASSERT_EQ(libSSDP::Search(), 0);
      ASSERT_EQ(libSSDP::SetStatus("busy"), 0);
      ASSERT_TRUE(peer.Send(support::Alive("somebody", "on")));
    }
    // No sleep in this loop: one that is interrupted all the time never ends.
    const int heard = events;
    for (const double start = support::Now(); events == heard && support::Now() < start + 60;)
      peer.Send(support::Alive("somebody", "on"));
    EXPECT_GT(events, heard);
    application.Stop();
    over = true;
    storm.join();
  }
  seam::Reset();
  sigaction(SIGUSR1, &previous, nullptr);
  std::cout << handled_by_us << " signals handled\n";
  EXPECT_GE(handled_by_us, 200);
  EXPECT_EQ(handled_by_library, 0);
}

}  // namespace

// SPDX-License-Identifier: MIT
// resources: what a host of the library takes while nothing happens, for each peer, and to start.
// Prints one line each: what, figure.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <libssdp.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <vector>

#include "counted_heap.h"
#include "gate.h"
#include "group.h"
#include "messages.h"
#include "private_network.h"

namespace {

using namespace bench;

void Configure() {
  libSSDP::CreateSSDP(true);
  libSSDP::SetDomainName(kDomain);
  libSSDP::SetDeviceType(kType);
  libSSDP::SetVersionInfo(kVersion);
  libSSDP::SetUUID(Uuid(0));
  libSSDP::SetStatus(kStatus);
  libSSDP::SetNotifyTimeOut(1800);
}

void StopLibrary() {
  libSSDP::Uninitialize();
  libSSDP::DestroySSDP();
}

// The times that one of the process's threads went to sleep.
int64_t WakeUps() {
  int64_t sum = 0;
  DIR* tasks = opendir("/proc/self/task");
  while (const dirent* task = readdir(tasks)) {
    std::ifstream status(std::string("/proc/self/task/") + task->d_name + "/status");
    for (std::string word; status >> word;) {
      int64_t count = 0;
      if (word == "voluntary_ctxt_switches:" && status >> count) sum += count;
    }
  }
  closedir(tasks);
  return sum;
}

void Idle() {
  Configure();
  libSSDP::Initialize();
  sleep(1);
  WakeUps();  // what reading them allocates once
  const int64_t wake_ups = WakeUps();
  const int64_t allocations = Allocations();
  const int64_t cpu = ProcessCpu();
  sleep(10);
  const auto used = static_cast<double>(ProcessCpu() - cpu) / 1e6;
  const auto allocated = static_cast<double>(Allocations() - allocations);
  const auto woken = static_cast<double>(WakeUps() - wake_ups - 1);  // without this thread's own
  std::printf("idle_wakeups_per_second %.2f\n", woken / 10);
  std::printf("idle_allocations_per_pass %.2f\n", allocated / woken);
  std::printf("idle_cpu_ms_in_10_s %.2f\n", used);
  StopLibrary();
}

// As many pauses of the same length and nothing between them: what waking up costs by itself.
void BareIdle() {
  const int64_t cpu = ProcessCpu();
  for (int i = 0; i < 50; ++i) usleep(200000);
  std::printf("idle_bare_cpu_ms_in_10_s %.2f\n", static_cast<double>(ProcessCpu() - cpu) / 1e6);
}

size_t KnownPeers() {
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  libSSDP::GetDevices(devices);
  return devices.size();
}

void HeapOfAPeer() {
  constexpr int peers = 10000;
  Configure();
  libSSDP::Initialize();
  sleep(1);  // its own first announcement has come back to it
  const size_t known = KnownPeers();
  const int64_t before = LiveBytes();
  {
    Load load;
    for (int peer = 1; peer <= peers; ++peer) {
      load.Send(Notify(kTarget, Uuid(peer)), GroupAddress());
      if (peer % 100 == 0) usleep(10000);
    }
    sleep(1);
  }
  const auto bytes = static_cast<double>(LiveBytes() - before);
  std::printf("heap_bytes_per_peer %.1f\n", bytes / static_cast<double>(KnownPeers() - known));
  StopLibrary();
}

// --- The system calls that a start makes, and nothing else.

struct Sockets {
  int listener;
  int handler;
};

void* Receiver(void* socket) {
  prctl(PR_SET_NAME, "bare");
  char text[512];
  sockaddr_in from;
  socklen_t size = sizeof(from);
  recvfrom(*static_cast<int*>(socket), text, sizeof(text), 0, reinterpret_cast<sockaddr*>(&from),
           &size);
  return nullptr;
}

void* Announcer(void* socket) {
  prctl(PR_SET_NAME, "bare");
  const sockaddr_in group = GroupAddress();
  const char text[] = "NOTIFY";
  sendto(*static_cast<int*>(socket), text, sizeof(text), 0,
         reinterpret_cast<const sockaddr*>(&group), sizeof(group));
  return nullptr;
}

void StartThread(pthread_t& thread, void* (*run)(void*), int& socket) {
  sigset_t all, previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  pthread_create(&thread, nullptr, run, &socket);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

void ListInterfaces() {
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) == 0) freeifaddrs(interfaces);
}

using Clock = std::chrono::steady_clock;

double BareStart() {
  Sockets sockets;
  pthread_t threads[3];
  const auto begin = Clock::now();
  sockets.listener = OpenGroupSocket();
  fcntl(sockets.listener, F_SETFD, FD_CLOEXEC);
  sockets.handler = socket(AF_INET, SOCK_DGRAM, 0);
  fcntl(sockets.handler, F_SETFD, FD_CLOEXEC);
  sockaddr_in any{};
  any.sin_family = AF_INET;
  bind(sockets.handler, reinterpret_cast<sockaddr*>(&any), sizeof(any));
  in_addr interface {};
  setsockopt(sockets.handler, IPPROTO_IP, IP_MULTICAST_IF, &interface, sizeof(interface));
  ListInterfaces();
  StartThread(threads[0], Receiver, sockets.listener);
  ListInterfaces();
  StartThread(threads[1], Receiver, sockets.handler);
  StartThread(threads[2], Announcer, sockets.handler);
  const double took = std::chrono::duration<double>(Clock::now() - begin).count();
  shutdown(sockets.listener, SHUT_RDWR);
  shutdown(sockets.handler, SHUT_RDWR);
  for (pthread_t thread : threads) pthread_join(thread, nullptr);
  close(sockets.listener);
  close(sockets.handler);
  return took;
}

double LibraryStart() {
  usleep(200000);
  const auto begin = Clock::now();
  Configure();
  libSSDP::Initialize();
  const double took = std::chrono::duration<double>(Clock::now() - begin).count();
  usleep(10000);  // its first announcement has left
  StopLibrary();
  return took;
}

void Start() {
  std::vector<double> ratios;
  for (int i = 0; i < 21; ++i) {
    usleep(200000);  // both begin after a pause
    const double bare = BareStart();
    ratios.push_back(LibraryStart() / bare);
  }
  std::sort(ratios.begin(), ratios.end());
  std::printf("start_ratio %.2f\n", ratios[ratios.size() / 2]);
}

}  // namespace

int main() {
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  BareIdle();
  Idle();
  HeapOfAPeer();
  Start();
}

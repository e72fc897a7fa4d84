// SPDX-License-Identifier: MIT
// resources: what an application of the library takes while nothing happens, for each peer, to
// start and to announce. Prints one line each: what, figure.
#include <fcntl.h>
#include <ifaddrs.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <thread>

#include "bench.h"

// Counts the allocations of this program and of the library in it.
static std::atomic<int> allocations{0};

LIBSSDP_API void* operator new(size_t size) {
  ++allocations;
  void* block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
LIBSSDP_API void operator delete(void* block) noexcept {
  std::free(block);
}
LIBSSDP_API void operator delete(void* block, size_t) noexcept {
  std::free(block);
}

namespace {

using namespace bench;

void Start() {
  Configure(true);
  libSSDP::Initialize();
}

void Stop() {
  libSSDP::Uninitialize();
  libSSDP::DestroySSDP();
}

void Idle() {
  Start();
  sleep(1);
  rusage before{}, after{};
  getrusage(RUSAGE_SELF, &before);
  const int allocated = allocations;
  const int64_t cpu = Clock(CLOCK_PROCESS_CPUTIME_ID);
  sleep(10);
  const auto used = static_cast<double>(Clock(CLOCK_PROCESS_CPUTIME_ID) - cpu);
  const int allocated_now = allocations - allocated;
  getrusage(RUSAGE_SELF, &after);
  // How often a thread went to sleep, without this thread's own sleep.
  const auto woken = static_cast<double>(after.ru_nvcsw - before.ru_nvcsw - 1);
  std::printf("idle_wakeups_per_second %.2f\nidle_allocations_per_pass %.2f\n", woken / 10,
              allocated_now / woken);
  std::printf("idle_cpu_ms_in_10_s %.2f\n", used / 1e6);
  Stop();
}

// As many pauses of the same length and nothing between them: what waking up costs by itself.
void BareIdle() {
  const int64_t cpu = Clock(CLOCK_PROCESS_CPUTIME_ID);
  for (int i = 0; i < 50; ++i) usleep(200000);
  std::printf("idle_bare_cpu_ms_in_10_s %.2f\n",
              static_cast<double>(Clock(CLOCK_PROCESS_CPUTIME_ID) - cpu) / 1e6);
}

void HeapOfAPeer() {
  Start();
  sleep(1);  // until its own first announcement has come back
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const size_t before = mallinfo2().uordblks;
  for (int peer = 1; peer <= 10000; ++peer) {
    SendTo(socket, Notify(kTarget, Uuid(peer)));
    if (peer % 100 == 0) usleep(10000);
  }
  sleep(1);
  const auto bytes = static_cast<double>(mallinfo2().uordblks - before);
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  libSSDP::GetDevices(devices);
  std::printf("heap_bytes_per_peer %.1f\n", bytes / static_cast<double>(devices.size() - 1));
  close(socket);
  Stop();
}

void PrintMedian(const char* name, std::vector<double>& figures) {
  std::sort(figures.begin(), figures.end());
  std::printf("%s %.2f\n", name, figures[figures.size() / 2]);
}

// The system calls that a start makes, and nothing else.
double BareStart() {
  const int64_t begin = Clock(CLOCK_MONOTONIC);
  const int listener = OpenGroupSocket();
  const int handler = socket(AF_INET, SOCK_DGRAM, 0);
  for (const int socket : {listener, handler}) fcntl(socket, F_SETFD, FD_CLOEXEC);
  sockaddr_in any{};
  any.sin_family = AF_INET;
  bind(handler, reinterpret_cast<sockaddr*>(&any), sizeof(any));
  setsockopt(handler, IPPROTO_IP, IP_MULTICAST_IF, &any.sin_addr, sizeof(any.sin_addr));
  for (int i = 0; i < 2; ++i) {
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) == 0) freeifaddrs(interfaces);
  }
  const auto receive = [](int socket) {
    char text[512];
    recv(socket, text, sizeof(text), 0);
  };
  std::thread threads[] = {std::thread(receive, listener), std::thread(receive, handler),
                           std::thread([&] { SendTo(handler, "NOTIFY"); })};
  const auto took = static_cast<double>(Clock(CLOCK_MONOTONIC) - begin);
  threads[2].join();
  for (const int socket : {listener, handler}) shutdown(socket, SHUT_RDWR);
  for (const int i : {0, 1}) threads[i].join();
  for (const int socket : {listener, handler}) close(socket);
  return took;
}

void CompareStarts() {
  std::vector<double> ratios(21);
  for (double& ratio : ratios) {
    usleep(200000);  // both begin after a pause
    const double bare = BareStart();
    usleep(200000);
    const int64_t begin = Clock(CLOCK_MONOTONIC);
    Start();
    ratio = static_cast<double>(Clock(CLOCK_MONOTONIC) - begin) / bare;
    usleep(10000);  // until its first announcement has left
    Stop();
  }
  PrintMedian("start_ratio", ratios);
}

// An announcement, and the same bytes sent without the library, in turn. Meanwhile the callback
// keeps the listener, or sends would wake it up. The service can't be stopped any more.
void CompareAnnouncements() {
  Configure(true);
  libSSDP::SetCallback([](auto...) { pause(); }, nullptr);
  libSSDP::Initialize();
  sleep(1);  // until its first announcement has come back
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const std::string text = Notify(kTarget, Uuid(0));
  const sockaddr_in group = GroupAddress();
  std::vector<double> ratios(1001);
  for (double& ratio : ratios) {
    const int64_t begin = Clock(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < kBatch; ++i) libSSDP::Announce();
    const int64_t middle = Clock(CLOCK_THREAD_CPUTIME_ID);
    for (int i = 0; i < kBatch; ++i) SendTo(socket, text, group);
    const auto bare = static_cast<double>(Clock(CLOCK_THREAD_CPUTIME_ID) - middle);
    ratio = static_cast<double>(middle - begin) / bare;
  }
  PrintMedian("announcement_ratio", ratios);
}

}  // namespace

int main() {
  RequirePrivateNetwork();
  BareIdle();
  Idle();
  HeapOfAPeer();
  CompareStarts();
  CompareAnnouncements();
  std::fflush(stdout);
  _exit(0);
}

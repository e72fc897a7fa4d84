// SPDX-License-Identifier: MIT
// instructions SUBJECT: lets a loop of the library handle 1,000 datagrams of one sort, or make
// 1,000 idle passes, for callgrind (--collect-atstart=no) to count what they cost in user space.
// The system calls are replaced: a receive copies the datagram, a send succeeds at once, nothing
// waits, no thread starts.
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <vector>

#include "bench.h"
#include "ssdp.h"

namespace {

using namespace libSSDP;
using namespace bench;

constexpr int kWarmUp = 100;
constexpr int kMeasured = 1000;

std::vector<std::string> datagrams;  // received in turn
int received = 0;
WorkerThread* loop = nullptr;

// Collects from the end of the warm-up on; false when the last datagram has been handled.
bool CountOne() {
  if (received == kWarmUp || received == kWarmUp + kMeasured) CALLGRIND_TOGGLE_COLLECT;
  return received++ < kWarmUp + kMeasured;
}

template <typename Config, typename Value, typename Given>
void Set(SSDPDevice& device, Value Config::*field, Given value) {
  Config config;
  config.*field = value;
  device.SetConfig(config.m_name, config);
}

void ConfigureStore(SSDPStorage& store) {
  Set(store, &DomainNameConfig::m_domain_name, kDomain);
  Set(store, &DeviceTypeConfig::m_device_type, kType);
  Set(store, &VersionConfig::m_version, kVersion);
  Set(store, &DeviceUUIDConfig::m_uuid, Uuid(0));
  Set(store, &DeviceStatusConfig::m_status, kStatus);
  Set(store, &NotifyTimeoutConfig::m_notify_timeout, 1800);
  store.Init();
}

template <typename Worker>
void Run(Worker& worker) {
  worker.Start();  // no thread: its loop runs here
  loop = &worker;
  worker.Task();
}

// Makes the table know so many peers; returns their announcements.
std::vector<std::string> Acquaint(int peers, SSDP& service) {
  std::vector<std::string> announcements;
  for (int peer = 0; peer < peers; ++peer) {
    DeviceInfo device;
    device.m_uuid = Uuid(peer);
    device.m_status = kStatus;
    device.m_address = "10.77.0.1";
    SSDP::Callback(&service, &device, true, false);
    announcements.push_back(Notify(kTarget, device.m_uuid));
  }
  return announcements;
}

void Measure(const std::string& subject) {
  SSDPStorage store;
  ConfigureStore(store);
  SSDP service(subject == "idle_pass" ? 1 : 0);
  service.SetCallback([](const DeviceInfo*, DeviceInfo*, unsigned int, void*) {}, nullptr);
  SSDPListener listener(&SSDP::Callback, &store, &service);
  SSDPHandler handler(&SSDP::Callback, &store, &service);
  Set(service, &NotifyTimeoutConfig::m_notify_timeout, 1800);
  const std::map<std::string, std::string> alone = {
      {"notify_other", Notify(kOtherTarget, Uuid(1))},
      {"notify_known", Notify(kTarget, Uuid(1))},
      {"search_response", SearchResponse(kTarget, Uuid(1))},
      {"msearch_other", MSearch(kOtherTarget)},
      {"msearch_answered", MSearch(kTarget)}};
  if (subject == "announcement") {
    while (CountOne()) handler.AnnounceNetwork("ssdp:alive", nullptr);
  } else if (subject == "idle_pass") {
    Run(service);
  } else {
    datagrams = subject == "notify_10000" ? Acquaint(10000, service)
                                          : std::vector<std::string>{alone.at(subject)};
    subject == "search_response" ? Run(handler) : Run(listener);
  }
}

}  // namespace

extern "C" {

ssize_t __wrap_recvfrom(int, void* buffer, size_t size, int, sockaddr* from, socklen_t*) {
  if (!CountOne()) {
    loop->Stop();
    return -1;
  }
  const std::string& datagram = datagrams[static_cast<size_t>(received) % datagrams.size()];
  const size_t length = std::min(size, datagram.size());
  std::memcpy(buffer, datagram.data(), length);
  auto* address = reinterpret_cast<sockaddr_in*>(from);
  address->sin_family = AF_INET;
  address->sin_addr.s_addr = htonl(0x0a4d0001);  // 10.77.0.1
  return static_cast<ssize_t>(length);
}

ssize_t __wrap_sendto(int, const void*, size_t length, int, const sockaddr*, socklen_t) {
  return static_cast<ssize_t>(length);
}

int __wrap_usleep(useconds_t) {
  if (!CountOne()) loop->Stop();
  return 0;
}

int __wrap_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
  return 0;
}

int __wrap_pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const timespec*) {
  return ETIMEDOUT;
}

int __wrap_rand() {
  return 1;
}
}

int main(int argc, char** argv) {
  Require(argc == 2, "usage: bench_instructions SUBJECT");
  RequirePrivateNetwork();
  Measure(argv[1]);
}

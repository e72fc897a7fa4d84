// SPDX-License-Identifier: MIT
// instructions SUBJECT: lets a loop of the library handle 1,000 datagrams of one kind, or make
// 1,000 idle passes, for callgrind (--collect-atstart=no) to count what they cost in user space.
// The system calls are replaced: a receive copies the datagram, a send is done with at once,
// nothing waits, no thread starts.
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "messages.h"
#include "private_network.h"
#include "ssdp.h"

namespace {

using namespace libSSDP;

constexpr int kWarmUp = 100;
constexpr int kMeasured = 1000;

std::vector<std::string> datagrams;  // received in turn
int received = 0;
WorkerThread* loop = nullptr;

// Collects from the end of the warm-up on; false when the last one has been handled.
bool CountOne() {
  if (received == kWarmUp || received == kWarmUp + kMeasured) CALLGRIND_TOGGLE_COLLECT;
  return received++ < kWarmUp + kMeasured;
}

void Configure(SSDPStorage& store) {
  DomainNameConfig domain;
  domain.m_domain_name = bench::kDomain;
  store.SetConfig(domain.m_name, domain);
  DeviceTypeConfig type;
  type.m_device_type = bench::kType;
  store.SetConfig(type.m_name, type);
  VersionConfig version;
  version.m_version = bench::kVersion;
  store.SetConfig(version.m_name, version);
  DeviceUUIDConfig uuid;
  uuid.m_uuid = bench::Uuid(0);
  store.SetConfig(uuid.m_name, uuid);
  DeviceStatusConfig status;
  status.m_status = bench::kStatus;
  store.SetConfig(status.m_name, status);
  NotifyTimeoutConfig timeout;
  timeout.m_notify_timeout = 1800;
  store.SetConfig(timeout.m_name, timeout);
  store.Init();
}

template <typename Worker>
void Receive(std::vector<std::string> messages, SSDPStorage& store, SSDP& service) {
  Worker worker(&SSDP::Callback, &store, &service);
  worker.Start();  // no thread: its loop runs here
  loop = &worker;
  datagrams = std::move(messages);
  worker.Task();
}

// Makes the table know so many peers; returns their announcements.
std::vector<std::string> Acquaint(int peers, SSDP& service) {
  std::vector<std::string> announcements;
  for (int peer = 0; peer < peers; ++peer) {
    DeviceInfo device;
    device.m_uuid = bench::Uuid(peer);
    device.m_status = bench::kStatus;
    device.m_address = "10.77.0.1";
    SSDP::Callback(&service, &device, true, false);
    announcements.push_back(bench::Notify(bench::kTarget, device.m_uuid));
  }
  return announcements;
}

void Announce(SSDPStorage& store, SSDP& service) {
  SSDPHandler handler(&SSDP::Callback, &store, &service);
  while (CountOne()) handler.AnnounceNetwork("ssdp:alive", nullptr);
}

// The service's own loop, which finds that nothing is due.
void Idle() {
  SSDP service(1);
  NotifyTimeoutConfig timeout;
  timeout.m_notify_timeout = 1800;
  service.SetConfig(timeout.m_name, timeout);
  service.Start();  // no thread: its loop runs here
  loop = &service;
  service.Task();
}

bool Run(const std::string& subject) {
  SSDPStorage store;
  Configure(store);
  SSDP service(0);
  service.SetCallback([](const DeviceInfo*, DeviceInfo*, unsigned int, void*) {}, nullptr);
  const std::string peer = bench::Uuid(1);
  if (subject == "notify_other") {
    Receive<SSDPListener>({bench::Notify(bench::kOtherTarget, peer)}, store, service);
  } else if (subject == "notify_known") {
    Receive<SSDPListener>({bench::Notify(bench::kTarget, peer)}, store, service);
  } else if (subject == "notify_10000") {
    Receive<SSDPListener>(Acquaint(10000, service), store, service);
  } else if (subject == "search_reply") {
    Receive<SSDPHandler>({bench::SearchReply(bench::kTarget, peer)}, store, service);
  } else if (subject == "msearch_other") {
    Receive<SSDPListener>({bench::MSearch(bench::kOtherTarget)}, store, service);
  } else if (subject == "msearch_answered") {
    Receive<SSDPListener>({bench::MSearch(bench::kTarget)}, store, service);
  } else if (subject == "announcement") {
    Announce(store, service);
  } else if (subject == "idle_pass") {
    Idle();
  } else {
    return false;
  }
  return true;
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
  const std::string reason = support::EnterPrivateNetwork();
  if (!reason.empty()) {
    std::fprintf(stderr, "no private network: %s\n", reason.c_str());
    return 1;
  }
  if (argc != 2 || !Run(argv[1])) {
    std::fprintf(stderr, "usage: bench_instructions SUBJECT\n");
    return 2;
  }
  return 0;
}

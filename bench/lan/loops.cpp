// SPDX-License-Identifier: MIT
#include "loops.h"

#include <libssdp.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "group.h"
#include "messages.h"

// The library's random delay before an answer is left aside: it is 0, and waiting it out is free.
extern "C" LIBSSDP_API int rand() noexcept {
  return 0;
}
extern "C" LIBSSDP_API int pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*,
                                                  const struct timespec*) {
  return ETIMEDOUT;
}

namespace bench {

namespace {

void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int,
              void* context) {
  auto* gate = static_cast<Gate*>(context);
  gate->m_received.fetch_add(1, std::memory_order_relaxed);
  if (device != nullptr && device->m_uuid == kGateUuid) gate->Pass();
}

void StartLibrary(Gate& gate) {
  libSSDP::CreateSSDP(false);
  libSSDP::SetDomainName(kDomain);
  libSSDP::SetDeviceType(kType);
  libSSDP::SetVersionInfo(kVersion);
  libSSDP::SetServerInfo("example/1");
  libSSDP::SetUUID(Uuid(0));
  libSSDP::SetStatus(kStatus);
  libSSDP::SetNotifyTimeOut(1800);
  libSSDP::SetMSearchTimeOut(3);
  libSSDP::SetCallback(OnDevice, &gate);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) std::exit(1);
}

void Bare(Gate& gate, const std::string& reply) {
  const int socket = OpenGroupSocket();
  const size_t gate_length = Notify(kTarget, kGateUuid).size();
  char text[512];
  for (;;) {
    sockaddr_in from;
    socklen_t size = sizeof(from);
    const ssize_t length =
        recvfrom(socket, text, sizeof(text), 0, reinterpret_cast<sockaddr*>(&from), &size);
    gate.m_received.fetch_add(1, std::memory_order_relaxed);
    if (length == static_cast<ssize_t>(gate_length)) {
      gate.Pass();
    } else if (!reply.empty()) {
      sendto(socket, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&from), size);
    }
  }
}

// The CPU time of the calling thread, in nanoseconds, that one batch of sends takes.
template <typename Send>
double TimeSends(Send send) {
  const int64_t begin = ThreadCpu();
  for (int i = 0; i < kBatch; ++i) send();
  return static_cast<double>(ThreadCpu() - begin);
}

}  // namespace

void BareLoop(Gate& gate) {
  Bare(gate, "");
}

void BareThreadLoop(Gate& gate) {
  std::thread loop([&] { Bare(gate, ""); });
  for (;;) pause();
}

void BareReplyLoop(Gate& gate) {
  Bare(gate, SearchReply(kTarget, Uuid(0)));
}

void LibraryHost(Gate& gate) {
  StartLibrary(gate);
  libSSDP::Search();
  for (;;) pause();
}

void AnnouncingHost(Gate& gate) {
  StartLibrary(gate);
  gate.Await();  // its own listener
  const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in group = GroupAddress();
  const std::string text = Notify(kTarget, Uuid(0));
  std::vector<double> ratios;
  for (int i = 0; i < 400; ++i) {
    const double composed = TimeSends([] { libSSDP::Announce(); });
    ratios.push_back(composed / TimeSends([&] {
                       sendto(socket, text.data(), text.size(), 0,
                              reinterpret_cast<const sockaddr*>(&group), sizeof(group));
                     }));
  }
  std::sort(ratios.begin(), ratios.end());
  gate.m_result = ratios[ratios.size() / 2];
  for (;;) pause();
}

pid_t StartChild(void (*loop)(Gate&), Gate& gate) {
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  loop(gate);
  _exit(0);
}

void EndChild(pid_t child) {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

}  // namespace bench

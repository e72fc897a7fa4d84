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
#include <cstring>
#include <map>
#include <mutex>
#include <string>
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

struct Datagram {
  char text[512];
  sockaddr_in from;
};

void OnDeviceInCrowd(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
                     void* context) {
  auto* gate = static_cast<Gate*>(context);
  if (device == nullptr) return;
  if (device->m_uuid == kGateUuid) gate->Pass();
  if (device->m_uuid == kRefreshedUuid && event == 0)
    gate->m_received.fetch_add(1, std::memory_order_relaxed);
}

void StartLibrary(Gate& gate, libSSDP::SSDPCallback callback) {
  libSSDP::CreateSSDP(false);
  libSSDP::SetDomainName(kDomain);
  libSSDP::SetDeviceType(kType);
  libSSDP::SetVersionInfo(kVersion);
  libSSDP::SetServerInfo("example/1");
  libSSDP::SetUUID(Uuid(0));
  libSSDP::SetStatus(kStatus);
  libSSDP::SetNotifyTimeOut(1800);
  libSSDP::SetMSearchTimeOut(3);
  libSSDP::SetCallback(callback, &gate);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) std::exit(1);
}

// Receives into `datagram`, with `prepare` before each receive and `handle` behind it.
template <typename Prepare, typename Handle>
void Receive(Gate& gate, Datagram& datagram, Prepare prepare, Handle handle) {
  const int socket = OpenGroupSocket(gate.m_port);
  const size_t gate_length = Notify(kTarget, kGateUuid).size();
  for (;;) {
    prepare();
    socklen_t size = sizeof(datagram.from);
    const ssize_t length = recvfrom(socket, datagram.text, sizeof(datagram.text), 0,
                                    reinterpret_cast<sockaddr*>(&datagram.from), &size);
    // Nobody else writes it: no locked instruction, which a datagram doesn't always cost a host.
    gate.m_received.store(gate.m_received.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    if (length == static_cast<ssize_t>(gate_length)) {
      gate.Pass();
    } else {
      handle(socket);
    }
  }
}

// Fourteen settings in an ordered map, each with its own name, of which one is copied out under a
// lock.
class Settings {
 public:
  Settings() {
    for (const char* name :
         {"network_interface", "domain_name", "device_type", "version", "user_agent", "server_info",
          "msearch_header", "notify_header", "response_header", "search_target", "status", "uuid",
          "msearch_timeout", "notify_timeout"}) {
      const std::string full = std::string("ssdp_config_") + name;
      m_settings.emplace(full, Setting{full, kTarget});
    }
  }

  void CopySearchTarget() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_copy = m_settings.find(m_search_target)->second;
  }

 private:
  struct Setting {
    std::string name;
    std::string value;
  };
  const std::string m_search_target = "ssdp_config_search_target";
  std::mutex m_mutex;
  std::map<std::string, Setting> m_settings;
  Setting m_copy;
};

// On a second thread; main keeps out of the way.
template <typename Loop>
[[noreturn]] void OnAThread(Loop loop) {
  std::thread(loop).detach();
  for (;;) pause();
}

void Fixed(Gate& gate) {
  Datagram datagram;
  Settings settings;
  Receive(
      gate, datagram, [&] { std::memset(&datagram, 0, sizeof(datagram)); },
      [&](int) { settings.CopySearchTarget(); });
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
  Datagram datagram;
  Receive(
      gate, datagram, [] {}, [](int) {});
}

void BareThreadLoop(Gate& gate) {
  OnAThread([&] { BareLoop(gate); });
}

void BareReplyLoop(Gate& gate) {
  const std::string reply = SearchReply(kTarget, Uuid(0));
  Datagram datagram;
  Receive(
      gate, datagram, [] {},
      [&](int socket) {
        sendto(socket, reply.data(), reply.size(), 0,
               reinterpret_cast<const sockaddr*>(&datagram.from), sizeof(datagram.from));
      });
}

void FixedLoop(Gate& gate) {
  OnAThread([&] { Fixed(gate); });
}

void LibraryHost(Gate& gate) {
  StartLibrary(gate, OnDevice);
  libSSDP::Search();
  for (;;) pause();
}

void CrowdedHost(Gate& gate) {
  StartLibrary(gate, OnDeviceInCrowd);
  for (;;) pause();
}

void AnnouncingHost(Gate& gate) {
  StartLibrary(gate, OnDevice);
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

// SPDX-License-Identifier: MIT
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <thread>

#include "bench.h"

// The library's random delay before a search response is left aside: it is 0, and waiting is free.
extern "C" LIBSSDP_API int rand() noexcept {
  return 0;
}
extern "C" LIBSSDP_API int pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*,
                                                  const struct timespec*) {
  return ETIMEDOUT;
}

namespace bench {

namespace {

void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
              void* context) {
  auto* gate = static_cast<Gate*>(context);
  if (event == 0) gate->m_received.fetch_add(1, std::memory_order_relaxed);
  if (device != nullptr && device->m_uuid == kGateUuid) gate->Pass();
}

template <typename Handle>
void Receive(Gate& gate, Handle handle) {
  const int socket = OpenGroupSocket(gate.m_port);
  const size_t gate_length = Notify(kTarget, kGateUuid).size();
  char text[512];
  sockaddr_in from;
  for (;;) {
    socklen_t size = sizeof(from);
    const ssize_t length =
        recvfrom(socket, text, sizeof(text), 0, reinterpret_cast<sockaddr*>(&from), &size);
    // No other thread writes it, so no locked instruction is needed.
    gate.m_received.store(gate.m_received.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
    const bool at_gate = length == static_cast<ssize_t>(gate_length);
    at_gate ? gate.Pass() : handle(socket, from);
  }
}

}  // namespace

Gate& Gate::Create() {
  void* memory =
      mmap(nullptr, sizeof(Gate), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Require(memory != MAP_FAILED, "no shared memory");
  Gate& gate = *new (memory) Gate;
  sem_init(&gate.m_at_gate, 1, 0);
  sem_init(&gate.m_open, 1, 0);
  return gate;
}

void Gate::Pass() {
  m_cpu = Clock(CLOCK_PROCESS_CPUTIME_ID) - m_opened;
  sem_post(&m_at_gate);
  while (sem_wait(&m_open) != 0) continue;
  m_opened = Clock(CLOCK_PROCESS_CPUTIME_ID);
}

void Gate::Await() {
  struct timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += 30;
  while (sem_timedwait(&m_at_gate, &deadline) != 0)
    Require(errno == EINTR, "the measured process did not come to the gate");
}

int64_t Gate::Measure() {
  Open();
  Await();
  return m_cpu;
}

void BareLoop(Gate& gate) {
  Receive(gate, [](int, const sockaddr_in&) {});
}

void BareThreadLoop(Gate& gate) {
  std::thread([&] { BareLoop(gate); }).join();
}

void BareResponseLoop(Gate& gate) {
  const std::string response = SearchResponse(kTarget, Uuid(0));
  Receive(gate, [&](int socket, const sockaddr_in& from) { SendTo(socket, response, from); });
}

void Application(Gate& gate) {
  Configure(false);
  libSSDP::SetCallback(OnDevice, &gate);
  Require(libSSDP::Initialize() == libSSDP::SSDP_SUCCESS, "Initialize failed");
  libSSDP::Search();
  for (;;) pause();
}

pid_t StartChild(void (*loop)(Gate&), Gate& gate) {
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent) loop(gate);
    _exit(1);
  }
  usleep(200000);
  return child;
}

void EndChild(pid_t child) {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

}  // namespace bench

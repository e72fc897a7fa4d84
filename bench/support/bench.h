// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_SUPPORT_BENCH_H
#define LIBSSDP_BENCH_SUPPORT_BENCH_H

#include <libssdp.h>
#include <netinet/in.h>
#include <semaphore.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

// What the benchmarks share.
namespace bench {

// Exits with the failure unless the condition holds.
void Require(bool condition, const char* failure);

// Moves the process, which has one thread, into a private network, or exits.
void RequirePrivateNetwork();

// Keeps the calling thread, and the threads and processes that it starts, to one processor.
void KeepTo(int processor);

int64_t Clock(clockid_t clock);  // nanoseconds

// The device, and the datagrams that it receives.
constexpr const char* kDomain = "schemas-example-org";
constexpr const char* kType = "Light";
constexpr const char* kVersion = "1";
constexpr const char* kTarget = "urn:schemas-example-org:device:Light:1";
constexpr const char* kOtherTarget = "urn:schemas-example-org:device:Radio:1";
constexpr const char* kStatus = "ready";

void Configure(bool announce);  // creates the service with these settings

// The 36 characters of a peer's UUID. Those of one maker's devices have the first 24 in common.
std::string Uuid(int peer);
std::string UuidOfOneMaker(int peer);

std::string Notify(const std::string& target, const std::string& uuid);
std::string SearchResponse(const std::string& target, const std::string& uuid);
std::string MSearch(const std::string& target);

sockaddr_in GroupAddress(uint16_t port = 1900);
// A socket with the library's own options: bound to the port and joined to the group.
int OpenGroupSocket(uint16_t port = 1900);
void SendTo(int socket, const std::string& datagram, const sockaddr_in& to = GroupAddress());
// Sends to the group at `rate` datagrams a second for `seconds`; returns the number sent.
int Flood(int socket, const std::vector<std::string>& datagrams, double rate, double seconds);

constexpr const char* kGateUuid = "gate";
constexpr int kBatch = 125;  // so many fit, with room to spare, into a socket's default buffer

// Shared by the measured process and the load generator. The gate is a datagram of its own: the
// measured process waits there while the next batch is queued in its socket, so that its CPU time
// is that of working off a full queue, without a wake-up.
class Gate {
 public:
  static Gate& Create();  // in memory shared with children; never freed

  // For the measured process, when it has received the gate's datagram.
  void Pass();

  // For the load generator. Await waits until the measured process is at the gate.
  void Await();
  void Open() { sem_post(&m_open); }
  // Opens, awaits, and returns the CPU time in nanoseconds between the last two gates.
  int64_t Measure();

  uint16_t m_port = 1900;          // for a bare loop, set before it starts
  std::atomic<int> m_received{0};  // a bare loop's datagrams, or the library's refreshes

 private:
  sem_t m_at_gate;
  sem_t m_open;
  std::atomic<int64_t> m_cpu{0};
  int64_t m_opened = 0;  // CPU time of the measured process
};

// Receives on the group and does nothing.
void BareLoop(Gate& gate);

// BareLoop on a second thread, as a library must: system calls cost more there.
void BareThreadLoop(Gate& gate);

// Receives on the group and sends a constant of the length of the library's search responses.
void BareResponseLoop(Gate& gate);

// An application of the library. It searches once, so that the load generator learns where search
// responses go. m_received counts the messages of known peers.
void Application(Gate& gate);

// Starts one of them as a child process, which ends with this process at the latest, and waits
// until it has joined the group.
pid_t StartChild(void (*loop)(Gate&), Gate& gate);
void EndChild(pid_t child);

}  // namespace bench

#endif

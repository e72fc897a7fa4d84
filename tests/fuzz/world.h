// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_WORLD_H
#define LIBSSDP_TESTS_FUZZ_WORLD_H

#include <netinet/in.h>
#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "lines.h"
#include "worker.h"

namespace fuzz {

// What the service can't decide for itself. The world acts on it, the model reckons with it.
struct Chance {
  int64_t now = 1000;        // the clock's second, which time_t must be able to hold
  int microsecond = 0;       // and its fraction
  int random = 0;            // the next of rand()
  bool sends_fail = false;   // no datagram leaves
  bool host_calls = false;   // the application's callback announces
  bool host_throws = false;  // the application's callback lets an exception out
};

// The date of every answer, as ctime writes it.
constexpr char kDate[] = "Sun Nov 15 14:22:59 2026\n";

// A system without sockets, threads and time (all hooks of the seam), in which the whole service
// runs on the calling thread. It writes down what the service does, and ends the program when the
// service takes a lock twice, uses a socket that it has closed, or leaves either behind.
class World {
 public:
  // The next datagram for the loop that runs, or null to end the loop.
  using Source = std::function<const Arrival*()>;

  explicit World(const Chance& chance);  // creates the service and sets its callback
  ~World();                              // ends and frees it
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // As the application's calls, but what failed for want of memory is tried again with enough of
  // it.
  void Initialize();
  void Uninitialize();

  // Runs the listener's or the handler's loop over what comes from `source`.
  void Group(Source source);
  void Unicast(Source source);

  // Runs the service's own loop. Each of its pauses calls `pause`; false ends the loop.
  void Serve(std::function<bool()> pause);

  // What happened since the last call.
  Lines Happened();
  unsigned ClockReads() const { return m_clock_reads; }

  std::map<std::string, libSSDP::DeviceInfo> Devices() const;
  bool HasDevices(const std::map<std::string, libSSDP::DeviceInfo>& devices) const;

 private:
  static void OnEvent(const libSSDP::DeviceInfo* old, libSSDP::DeviceInfo* new_device,
                      unsigned event, void* world);
  void HookSockets();
  void HookThreads();
  void HookClock();
  ssize_t Receive(char* data, size_t size, sockaddr_in* from);
  time_t Second() const;
  ssize_t Send(int fd, const char* data, size_t size, const sockaddr_in& to);
  void Run(libSSDP::WorkerThread* worker);

  const Chance& m_chance;
  Lines m_log;
  unsigned m_clock_reads = 0;
  Source m_source;
  std::function<bool()> m_pause;

  static constexpr int kFirstSocket = 1000000;
  int m_last_socket = kFirstSocket;
  int m_group = -1;
  int m_unicast = -1;
  std::set<int> m_open;
  std::vector<const pthread_mutex_t*> m_held;

  void* (*m_entry)(void*) = nullptr;  // of a thread, with a worker as its argument
  libSSDP::WorkerThread* m_listener = nullptr;
  libSSDP::WorkerThread* m_handler = nullptr;
  libSSDP::WorkerThread* m_service = nullptr;
  libSSDP::WorkerThread* m_running = nullptr;
};

}  // namespace fuzz

#endif

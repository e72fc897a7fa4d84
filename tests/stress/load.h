// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_STRESS_LOAD_H
#define LIBSSDP_TESTS_STRESS_LOAD_H

#include <cstddef>
#include <cstdint>
#include <string>

// What the soak's tests share: how long to run, how to send fast, and what the system says about
// the library's group socket.
namespace soak {

// In the short form `brief`; in the long one, LIBSSDP_SOAK_MINUTES, `share` of that time.
double Seconds(double brief, double share);

// One line of the report.
void Figure(const std::string& text);

// The library's socket on port 1900 in this process, from outside.
class Inlet {
 public:
  Inlet();
  uint32_t Queued() const;    // bytes, as the system counts them: packet structures included
  uint32_t Capacity() const;  // the queue's limit
  uint32_t Drops() const;     // datagrams that found the queue full

  // Waits while the queue is more than half full, so that what is sent next finds room.
  void AwaitRoom() const;

 private:
  uint32_t Ask(size_t index) const;
  int m_handle;
};

// A clock for sending at a rate: Await returns when it is time for the next burst. Time lost by the
// sender is made up for in small bursts, never in one.
class Pace {
 public:
  Pace(double per_second, int burst);
  void Await();

 private:
  const double m_step;
  double m_next;
};

}  // namespace soak

#endif

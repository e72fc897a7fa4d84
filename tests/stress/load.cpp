// SPDX-License-Identifier: MIT
#include "load.h"

#include <gmock/gmock.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "process.h"

namespace soak {

double Seconds(double brief, double share) {
  const char* minutes = std::getenv("LIBSSDP_SOAK_MINUTES");
  return minutes == nullptr ? brief : std::max(brief, std::atof(minutes) * 60 * share);
}

void Figure(const std::string& text) {
  std::printf("soak: %s\n", text.c_str());
  std::fflush(stdout);
}

Inlet::Inlet() : m_handle(-1) {
  for (int handle = 3; handle < 256 && m_handle < 0; ++handle) {
    sockaddr_in local = {};
    socklen_t length = sizeof(local);
    if (getsockname(handle, reinterpret_cast<sockaddr*>(&local), &length) != 0) continue;
    if (local.sin_family == AF_INET && local.sin_port == htons(1900)) m_handle = handle;
  }
  EXPECT_GE(m_handle, 0) << "nobody is on port 1900";
}

uint32_t Inlet::Ask(size_t index) const {
  uint32_t answers[SK_MEMINFO_VARS] = {};
  socklen_t length = sizeof(answers);
  EXPECT_EQ(getsockopt(m_handle, SOL_SOCKET, SO_MEMINFO, answers, &length), 0);
  return answers[index];
}

uint32_t Inlet::Queued() const {
  return Ask(SK_MEMINFO_RMEM_ALLOC);
}

uint32_t Inlet::Capacity() const {
  return Ask(SK_MEMINFO_RCVBUF);
}

uint32_t Inlet::Drops() const {
  return Ask(SK_MEMINFO_DROPS);
}

void Inlet::AwaitRoom() const {
  EXPECT_TRUE(support::Await([&] { return Queued() < Capacity() / 2; }));
}

Pace::Pace(double per_second, int burst) : m_step(burst / per_second), m_next(support::Now()) {}

void Pace::Await() {
  m_next += m_step;
  const double ahead = m_next - support::Now();
  if (ahead > 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(ahead));
  } else {  // late: no faster than twice the rate until it is made up for
    std::this_thread::sleep_for(std::chrono::duration<double>(m_step / 2));
  }
}

}  // namespace soak

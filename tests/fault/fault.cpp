// SPDX-License-Identifier: MIT
#include "fault.h"

#include <unistd.h>

#include <cstdio>
#include <thread>

namespace fault {

bool Fault::Hits() {
  const int call = m_calls++;
  if (m_over) return false;
  const bool hit = m_when == When::kEvery || (m_when == When::kFirst && call == 0) ||
                   (m_when == When::kThird && call == 2) ||
                   (m_when == When::kEveryOther && call % 2 == 0);
  if (hit) ++m_failures;
  return hit;
}

std::string Line(const std::string& function, const std::string& condition,
                 const std::string& file) {
  return "[#] " + function + ": " + condition + " failed. \n " + file + "\n";
}

std::string Line(const std::string& function, const std::string& condition,
                 const std::string& reason, const std::string& file) {
  return "[#] " + function + ": " + condition + " failed. (" + reason + ") \n " + file + "\n";
}

namespace {

// With the program's first thread a sanitizer may start one of its own, which stays.
void StartOneThread() {
  std::string entry;
  std::thread([&] { entry = "/proc/self/task/" + std::to_string(gettid()); }).join();
  Await([&] { return access(entry.c_str(), F_OK) != 0; });
}

}  // namespace

FaultTest::FaultTest() : m_descriptors(Descriptors()), m_threads((StartOneThread(), Threads())) {}

void FaultTest::TearDown() {
  seam::Reset();
  libSSDP::ssdpserver = nullptr;
  EXPECT_EQ(Descriptors(), m_descriptors);
  // A joined thread may still be on its way out of the process list.
  EXPECT_TRUE(Await([this] { return Threads() == m_threads; })) << Threads() << " threads";
}

void Hurry() {
  seam::calls.usleep = [](useconds_t) { return seam::real.usleep(1000); };
  seam::calls.rand = [] { return 0; };
}

}  // namespace fault

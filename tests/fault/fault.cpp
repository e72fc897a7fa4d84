// SPDX-License-Identifier: MIT
#include "fault.h"

#include <unistd.h>

#include <cstdio>
#include <thread>

namespace fault {

using namespace libSSDP;

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
  EXPECT_EQ(Descriptors(), m_descriptors);
  // A joined thread may still be on its way out of the process list.
  EXPECT_TRUE(Await([this] { return Threads() == m_threads; })) << Threads() << " threads";
}

Host::Host(bool announce) {
  EXPECT_EQ(CreateSSDP(announce), SSDP_SUCCESS);
  SetDomainName("schemas-example-org");
  SetDeviceType("Light");
  SetVersionInfo("1");
  SetUUID("lamp");
  SetStatus("on");
  SetNotifyTimeOut(1800);
  SetMSearchTimeOut(1);
  SetCallback(&Host::OnEvent, this);
}

Host::~Host() {
  DestroySSDP();
  ssdpserver = nullptr;
}

void Host::OnEvent(const DeviceInfo*, DeviceInfo*, unsigned int event, void* context) {
  auto* host = static_cast<Host*>(context);
  std::atomic<int>& count = event == SSDP_DEVICE_ADDED      ? host->m_added
                            : event == SSDP_DEVICE_REMOVED  ? host->m_removed
                            : event == SSDP_SEARCH_RECEIVED ? host->m_searched
                                                            : host->m_refreshed;
  ++count;
}

testing::AssertionResult Host::Works() {
  const auto heard = [this] { return m_added + m_refreshed; };
  int before = heard();
  if (Announce() != SSDP_SUCCESS) return testing::AssertionFailure() << "can't announce";
  if (!Await([&] { return heard() > before; }))
    return testing::AssertionFailure() << "doesn't hear an announcement";
  before = heard();
  const int searched = m_searched;
  if (Search() != SSDP_SUCCESS) return testing::AssertionFailure() << "can't search";
  if (!Await([&] { return m_searched > searched; }))
    return testing::AssertionFailure() << "doesn't answer a search";
  if (!Await([&] { return heard() > before; }))
    return testing::AssertionFailure() << "doesn't hear an answer";
  return testing::AssertionSuccess();
}

void Hurry() {
  seam::calls.usleep = [](useconds_t) { return seam::real.usleep(1000); };
  seam::calls.rand = [] { return 0; };
}

}  // namespace fault

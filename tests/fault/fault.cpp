// SPDX-License-Identifier: MIT
#include "fault.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "output.h"

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
  return "[N] " + function + ": " + condition + " failed. \n " + file + "\n";
}

std::string Line(const std::string& function, const std::string& condition,
                 const std::string& reason, const std::string& file) {
  return "[N] " + function + ": " + condition + " failed. (" + reason + ") \n " + file + "\n";
}

Output::Output() : m_file(memfd_create("output", MFD_CLOEXEC)), m_stdout(dup(STDOUT_FILENO)) {
  std::fflush(stdout);
  dup2(m_file, STDOUT_FILENO);
}

Output::~Output() {
  std::fflush(stdout);
  m_start = 0;
  const std::string text = Text();
  dup2(m_stdout, STDOUT_FILENO);
  // The test framework's own words about a failure were captured too.
  if (testing::Test::HasFailure()) std::printf("%s", text.c_str());
  ::close(m_stdout);
  ::close(m_file);
}

std::string Output::Text() const {
  std::fflush(stdout);
  std::string text(static_cast<size_t>(lseek(m_file, 0, SEEK_END) - m_start), '\0');
  if (pread(m_file, text.data(), text.size(), m_start) != static_cast<ssize_t>(text.size()))
    ADD_FAILURE() << "the captured output can't be read";
  return support::MaskLineNumbers(text, "[N] ");
}

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

void Output::Clear() {
  std::fflush(stdout);
  m_start = lseek(m_file, 0, SEEK_END);
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

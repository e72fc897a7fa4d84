// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FAULT_FAULT_H
#define LIBSSDP_TESTS_FAULT_FAULT_H

#include <gmock/gmock.h>

#include <atomic>
#include <string>

#include "libssdp.h"
#include "output.h"
#include "process.h"
#include "seam.h"

namespace libSSDP {
class SSDP;
extern SSDP* ssdpserver;
}  // namespace libSSDP

// What the fault tests share: when a call fails, what was printed, what is left behind, and a host
// whose service can be asked whether it still works.
namespace fault {

// Which of a call's calls fail. Safe from every thread.
enum class When { kFirst, kThird, kEvery, kEveryOther };

class Fault {
 public:
  explicit Fault(When when = When::kEvery) : m_when(when) {}

  // Counts the call and says whether it is one that fails.
  bool Hits();
  void CountFailure() { ++m_failures; }  // one that was not of this fault's making
  void End() { m_over = true; }          // from here on no call fails
  void Begin() { m_over = false; }       // from here on they fail again
  int Calls() const { return m_calls; }
  int Failures() const { return m_failures; }

 private:
  const When m_when;
  std::atomic<bool> m_over{false};
  std::atomic<int> m_calls{0};
  std::atomic<int> m_failures{0};
};

// Fails the calls that `fault` picks with `error`, as calls do that set errno.
inline bool Fails(Fault& fault, int error) {
  if (!fault.Hits()) return false;
  errno = error;
  return true;
}

// The failure line, written out.
std::string Line(const std::string& function, const std::string& condition,
                 const std::string& file);
std::string Line(const std::string& function, const std::string& condition,
                 const std::string& reason, const std::string& file);

using support::Await;
using support::Count;
using support::Descriptors;
using support::Output;
using support::Threads;

// A test that leaves nothing behind: no hook, no descriptor, no thread. (No memory either: that is
// for the leak checker of the sanitizer builds.)
class FaultTest : public testing::Test {
 protected:
  FaultTest();
  void TearDown() override;

  Output m_output;
  const size_t m_descriptors;
  const size_t m_threads;
};

// A program that uses the library through its public header, configured so that it hears itself:
// its own announcements and its own answers to its own searches come back to its callback.
class Host {
 public:
  explicit Host(bool announce = false);
  ~Host();  // DestroySSDP; the test itself has called Uninitialize
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Whether announcing, listening, searching, answering and receiving answers all work.
  testing::AssertionResult Works();

  std::atomic<int> m_added{0};
  std::atomic<int> m_removed{0};
  std::atomic<int> m_refreshed{0};  // event 0 and 4
  std::atomic<int> m_searched{0};

 private:
  static void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int event,
                      void* host);
};

// Lets the service thread's pause last 1 ms and an answer's delay nothing, so that a test doesn't
// wait for periods.
void Hurry();

// A worker's pass takes no shorter than this when its receive fails.
constexpr int kReceivePauseMicroseconds = 20000;

}  // namespace fault

#endif

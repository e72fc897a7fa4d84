// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FAULT_FAULT_H
#define LIBSSDP_TESTS_FAULT_FAULT_H

#include <gmock/gmock.h>

#include <atomic>
#include <string>

#include "application.h"
#include "libssdp.h"
#include "messages.h"
#include "output.h"
#include "peer.h"
#include "process.h"
#include "seam.h"

namespace libSSDP {
class SSDP;
extern SSDP* ssdpserver;
}  // namespace libSSDP

// What the fault tests share: which calls fail, what a failure prints, and what must not stay
// behind.
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

using support::Alive;
using support::Application;
using support::Await;
using support::Byebye;
using support::Count;
using support::Descriptors;
using support::MSearch;
using support::Output;
using support::Peer;
using support::Response;
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

// Lets the service thread's pause last 1 ms and an answer's delay nothing, so that a test doesn't
// wait for periods.
void Hurry();

// A worker's pass takes no shorter than this when its receive fails.
constexpr int kReceivePauseMicroseconds = 20000;

}  // namespace fault

#endif

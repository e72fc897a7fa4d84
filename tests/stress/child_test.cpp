// SPDX-License-Identifier: MIT
// A child of a process that runs the service: whatever it calls, its parent doesn't notice.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "application.h"
#include "messages.h"
#include "peer.h"
#include "process.h"
#include "seam.h"

namespace {

using namespace libSSDP;

// Runs `work` in a child, for a minute at most, and returns its result, or -1 when it crashed.
template <typename Work>
int ResultOfChild(Work work) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);  // the library's threads block all of them
    alarm(60);
    _exit(work());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// How many calls of a child did not fail as they shall. (DestroySSDP is the last call of all.)
int CallEverything() {
  std::map<std::string, DeviceInfo*> devices;
  std::string uuid = "untouched";
  int wrong = 0;
  for (const SSDP_STATUS status :
       {SetStatus("child"), SetNotifyTimeOut(7), SetCallback(nullptr, nullptr), GetUUID(uuid),
        GetDevices(devices), Announce(), Search(), Initialize(), Uninitialize()})
    wrong += status == SSDP_FAILURE ? 0 : 1;
  return wrong + (devices.empty() ? 0 : 1) + (DestroySSDP() == SSDP_SUCCESS ? 0 : 1);
}

std::atomic<int> heard{0}, left{0}, child_result{-1};
std::atomic<bool> fork_in_callback{false};

void OnEvent(const DeviceInfo*, DeviceInfo* device, unsigned int event, void*) {
  if (event == SSDP_SEARCH_RECEIVED) return;
  if (device->m_uuid == "ourselves" && event == SSDP_DEVICE_REMOVED) ++left;
  if (device->m_uuid != "peer") return;
  if (fork_in_callback.exchange(false)) child_result = ResultOfChild(CallEverything);
  ++heard;
}

class ForkedChild : public testing::Test {
 protected:
  ForkedChild() { heard = left = 0; }
  ~ForkedChild() override { seam::Reset(); }

  static void ExpectToHear() {
    const int before = heard;
    EXPECT_TRUE(m_peer->Send(support::Alive("peer", "on")));
    EXPECT_TRUE(support::Await([&] { return heard > before; })) << "the parent is deaf";
  }

  void SetUp() override { m_peer = std::make_unique<support::Peer>(); }
  void TearDown() override { m_peer.reset(); }

  static std::unique_ptr<support::Peer> m_peer;
};

std::unique_ptr<support::Peer> ForkedChild::m_peer;

TEST_F(ForkedChild, LeavesTheParentsServiceAlone) {
  support::Application application(true, OnEvent);
  application.Start();
  ExpectToHear();
  EXPECT_EQ(ResultOfChild(CallEverything), 0);
  ExpectToHear();  // after whatever the child sent
  EXPECT_EQ(left, 0) << "the child said byebye";
  std::string uuid;
  EXPECT_EQ(GetUUID(uuid), SSDP_SUCCESS);
  EXPECT_EQ(Announce(), SSDP_SUCCESS);
  application.Stop();
}

TEST_F(ForkedChild, OfALockedTableDoesNotDeadlock) {
  support::Application application(true, OnEvent);
  application.Start();
  fork_in_callback = true;
  ExpectToHear();
  EXPECT_EQ(child_result, 0);
  application.Stop();
}

TEST_F(ForkedChild, OfADelayedResponseDoesNotDeadlock) {
  std::atomic<bool> waiting{false};
  seam::calls.rand = [] { return 99999; };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                           const timespec* deadline) {
    waiting = true;
    return seam::real.pthread_cond_timedwait(cond, mutex, deadline);
  };
  support::Application application(false, OnEvent);
  application.Start();
  EXPECT_TRUE(m_peer->Send(support::MSearch(100)));
  EXPECT_TRUE(support::Await([&] { return waiting.load(); }));
  EXPECT_EQ(ResultOfChild(CallEverything), 0);
  application.Stop();
}

// As daemon(3) does it: what was created before the fork is started after it.
TEST_F(ForkedChild, StartsWhatItsParentCreatedOnly) {
  support::Application application(false, OnEvent);
  EXPECT_EQ(ResultOfChild([] {
              int failed = Initialize() + Announce() + Search() + SetStatus("daemon");
              failed += Uninitialize();
              return failed + Initialize() + Uninitialize();
            }),
            0);
  application.Start();  // with the parent's own sockets, which the child has left open
  ExpectToHear();
  application.Stop();
}

TEST_F(ForkedChild, OfAStoppedServiceStartsIt) {
  support::Application application(false, OnEvent);
  application.Start();
  application.Stop();
  EXPECT_EQ(ResultOfChild([] { return Initialize() + Announce() + Uninitialize(); }), 0);
}

}  // namespace

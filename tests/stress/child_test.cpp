// SPDX-License-Identifier: MIT
// A child of a process that runs the service: whatever it calls, its parent doesn't notice.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>

#include "host.h"
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

class Child : public testing::Test {
 protected:
  Child() { heard = left = 0; }
  ~Child() override { seam::Reset(); }

  static void ExpectToHear() {
    const int before = heard;
    EXPECT_TRUE(m_peer->Tell(host::Alive("peer", "on")));
    EXPECT_TRUE(support::Await([&] { return heard > before; })) << "the parent is deaf";
  }

  void SetUp() override { m_peer = std::make_unique<host::Peer>(); }
  void TearDown() override { m_peer.reset(); }

  static std::unique_ptr<host::Peer> m_peer;
};

std::unique_ptr<host::Peer> Child::m_peer;

TEST_F(Child, LeavesTheParentsServiceAlone) {
  host::Light light(true, OnEvent);
  light.Start();
  ExpectToHear();
  EXPECT_EQ(ResultOfChild(CallEverything), 0);
  ExpectToHear();  // after whatever the child sent
  EXPECT_EQ(left, 0) << "the child said byebye";
  std::string uuid;
  EXPECT_EQ(GetUUID(uuid), SSDP_SUCCESS);
  EXPECT_EQ(Announce(), SSDP_SUCCESS);
  light.Stop();
}

TEST_F(Child, OfALockedTableDoesNotHang) {
  host::Light light(true, OnEvent);
  light.Start();
  fork_in_callback = true;
  ExpectToHear();
  EXPECT_EQ(child_result, 0);
  light.Stop();
}

TEST_F(Child, OfADelayedResponseDoesNotHang) {
  std::atomic<bool> waiting{false};
  seam::calls.rand = [] { return 99999; };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t* cond, pthread_mutex_t* mutex,
                                           const timespec* deadline) {
    waiting = true;
    return seam::real.pthread_cond_timedwait(cond, mutex, deadline);
  };
  host::Light light(false, OnEvent);
  light.Start();
  EXPECT_TRUE(m_peer->Tell(host::Query(100)));
  EXPECT_TRUE(support::Await([&] { return waiting.load(); }));
  EXPECT_EQ(ResultOfChild(CallEverything), 0);
  light.Stop();
}

// As daemon(3) does it: what was created before the fork is started after it.
TEST_F(Child, StartsWhatItsParentCreatedOnly) {
  host::Light light(false, OnEvent);
  EXPECT_EQ(ResultOfChild([] {
              int failed = Initialize() + Announce() + Search() + SetStatus("daemon");
              failed += Uninitialize();
              return failed + Initialize() + Uninitialize();
            }),
            0);
  light.Start();  // with the parent's own sockets, which the child has left open
  ExpectToHear();
  light.Stop();
}

TEST_F(Child, OfAStoppedServiceStartsIt) {
  host::Light light(false, OnEvent);
  light.Start();
  light.Stop();
  EXPECT_EQ(ResultOfChild([] { return Initialize() + Announce() + Uninitialize(); }), 0);
}

}  // namespace

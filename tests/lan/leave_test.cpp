// SPDX-License-Identifier: MIT
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(LanTest, AByebyeRemovesAtOnce) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Added("lamp-b", 2));
  b->Tell("quit");
  a->Await(Left("lamp-b", 2));
  EXPECT_THAT(Devices(*a), IsEmpty());
  EXPECT_EQ(b->Wait(), 0);
}

TEST_F(LanTest, APeerThatIsTerminatedSaysGoodbye) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  b->Signal(SIGTERM);
  EXPECT_EQ(b->Wait(), 0);
  a->Await(Left("lamp-b", 2));  // reported though it was never known
}

TEST_F(LanTest, APeerThatComesBackIsAddedAnew) {
  const Peer a = StartLamp(1, "lamp-a");
  Peer b = StartLamp(2, "lamp-b", {"--announce"});
  a->Await(Added("lamp-b", 2));
  b->Tell("quit");
  const size_t left = a->Await(Left("lamp-b", 2));
  EXPECT_EQ(b->Wait(), 0);
  b = StartLamp(2, "lamp-b", {"--announce"});
  a->Await(Added("lamp-b", 2), left);
}

namespace {

// Waits until the device is gone from the peer's table. The expiry it had when last seen there.
long AwaitGone(support::Program& peer, const std::string& device) {
  long expiry = 0;
  const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
  while (std::chrono::steady_clock::now() < deadline) {
    const auto table = Table(peer);
    const auto row = std::find_if(table.begin(), table.end(),
                                  [&](const Row& each) { return each.device == device; });
    if (row == table.end()) return expiry;
    expiry = row->expiry;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  throw std::runtime_error(device + " stays in the table");
}

}  // namespace

TEST_F(LanTest, AKilledPeerVanishesSilentlyWhenItsTimeIsOver) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer c = StartLamp(3, "lamp-c");
  Peer b = StartLamp(2, "lamp-b", {"--announce", "--notify", "2"});
  a->Await(Added("lamp-b", 2));
  b->Signal(SIGKILL);
  EXPECT_EQ(b->Wait(), 128 + SIGKILL);
  c->Tell("announce");
  const size_t killed = a->Await(Added("lamp-c", 3));

  const long expiry = AwaitGone(*a, Device("lamp-b", 2));
  EXPECT_GT(std::time(nullptr), expiry);
  EXPECT_THAT(Devices(*a), ElementsAre(Device("lamp-c", 3)));
  c->Tell("announce");
  const size_t gone = a->Await(Refreshed("lamp-c", 3), killed);
  EXPECT_THAT(About("event 2", *a), IsEmpty());
  for (const auto& line : About("lamp-b", *a, killed))
    EXPECT_THAT(line, testing::StartsWith("device"));

  b = StartLamp(2, "lamp-b", {"--announce"});
  a->Await(Added("lamp-b", 2), gone);
}

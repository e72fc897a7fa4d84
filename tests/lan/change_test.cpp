// SPDX-License-Identifier: MIT
#include <signal.h>

#include "fixture.h"

using testing::ElementsAre;

TEST_F(LanTest, AChangedStatusIsTakenOver) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Added("lamp-b", 2));
  b->Tell("status off, lamp broken");
  b->Tell("announce");
  const std::string broken = Device("lamp-b", 2, "off, lamp broken");
  const size_t next = a->Await("event 0 " + broken + Was(2, "on"));
  // What the callback is shown as old comes out of the table.
  b->Tell("announce");
  a->Await("event 0 " + broken + Was(2, "off, lamp broken"), next);
  EXPECT_THAT(Devices(*a), ElementsAre(broken));
}

TEST_F(LanTest, AChangedAddressIsReported) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Added("lamp-b", 2));
  m_lan[2].ChangeAddress("10.77.0.22");
  b->Tell("announce");
  const size_t next = a->Await("event 4 " + Device("lamp-b", 22) + Was(2));
  b->Await("event 4 " + Device("lamp-b", 22) + Was(2));
  b->Tell("announce");
  a->Await(Refreshed("lamp-b", 22), next);
  EXPECT_THAT(Devices(*a), ElementsAre(Device("lamp-b", 22)));
}

TEST_F(LanTest, AChangedAddressIsSeenByASearchToo) {
  const Peer a = StartLamp(1, "lamp-a");
  const Peer b = StartLamp(2, "lamp-b");
  a->Tell("search");
  a->Await(Added("lamp-b", 2));
  m_lan[2].ChangeAddress("10.77.0.22");
  a->Tell("search");
  a->Await("event 4 " + Device("lamp-b", 22) + Was(2));
}

TEST_F(LanTest, ARestartedPeerIsRecognised) {
  const Peer a = StartLamp(1, "lamp-a");
  Peer b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Added("lamp-b", 2));
  b->Signal(SIGKILL);
  EXPECT_EQ(b->Wait(), 128 + SIGKILL);
  b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Refreshed("lamp-b", 2));
  EXPECT_THAT(Devices(*a), ElementsAre(Device("lamp-b", 2)));
}

TEST_F(LanTest, APeerRestartedOnAnotherHostIsRecognised) {
  const Peer a = StartLamp(1, "lamp-a");
  Peer b = StartLamp(2, "lamp-b");
  b->Tell("announce");
  a->Await(Added("lamp-b", 2));
  b->Signal(SIGKILL);
  EXPECT_EQ(b->Wait(), 128 + SIGKILL);
  b = StartLamp(3, "lamp-b");
  b->Tell("announce");
  a->Await("event 4 " + Device("lamp-b", 3) + Was(2));
  EXPECT_THAT(Devices(*a), ElementsAre(Device("lamp-b", 3)));
}

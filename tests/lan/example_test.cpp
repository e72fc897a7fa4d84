// SPDX-License-Identifier: MIT
#include <signal.h>

#include "fixture.h"

// Each announces itself and searches once.
TEST_F(LanTest, TwoOfTheShortestHostsFindEachOther) {
  const auto first = m_lan[1].Start({EXAMPLE_MINIMAL, "lamp-1"});
  first->Await("lamp-1 is here: 10.77.0.1");  // by now it listens
  const auto second = m_lan[2].Start({EXAMPLE_MINIMAL, "lamp-2"});
  first->Await("lamp-2 is here: 10.77.0.2");
  second->Await("lamp-1 is here: 10.77.0.1");
  second->Signal(SIGTERM);
  EXPECT_EQ(second->Wait(), 0);
  first->Await("lamp-2 has left: 10.77.0.2");
  first->Signal(SIGINT);
  EXPECT_EQ(first->Wait(), 0);
}

// SPDX-License-Identifier: MIT
#include "terminal.h"

#include <gmock/gmock.h>

#include "watch.h"

namespace ssdp_peer {
namespace {

using testing::SizeIs;

// Behind a line as wide as the terminal the cursor still stands on its last character, so that an
// erase there takes that character away.
TEST(FrameText, ErasesALineBeforeItIsWrittenNeverBehindIt) {
  EXPECT_EQ(FrameText({"lamp", "radio", "quit"}),
            "\x1b[H"
            "\x1b[Klamp\r\n"
            "\x1b[Kradio\r\n"
            "\x1b[Jquit");
}

TEST(Frame, NeverHasMoreLinesThanTheTerminal) {
  Roster roster;
  libSSDP::DeviceInfo device;
  for (const char* uuid : {"a", "b", "c"}) {
    device.m_uuid = uuid;
    roster.Heard(device, 100);
  }
  for (size_t rows = 1; rows < 7; ++rows)
    EXPECT_THAT(Frame(Options(), roster, "eth0", "", 100, {80, rows}, false), SizeIs(rows));
  EXPECT_THAT(Frame(Options(), roster, "eth0", "", 100, {80, 24}, false), SizeIs(1 + 4 + 2));
}

}  // namespace
}  // namespace ssdp_peer

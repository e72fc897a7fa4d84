// SPDX-License-Identifier: MIT
#include "terminal.h"

#include <gmock/gmock.h>

namespace ssdp_peer {
namespace {

// Behind a line as wide as the terminal the cursor still stands on its last character, so that an
// erase there takes that character away.
TEST(FrameText, ErasesALineBeforeItIsWrittenNeverBehindIt) {
  EXPECT_EQ(FrameText({"lamp", "radio", "quit"}),
            "\x1b[H"
            "\x1b[Klamp\r\n"
            "\x1b[Kradio\r\n"
            "\x1b[Jquit");
}

}  // namespace
}  // namespace ssdp_peer

// SPDX-License-Identifier: MIT
// What the fuzzers found, each as it was found.
#include "catalogue.h"
#include "memory.h"

namespace hostile {
namespace {

// Reading a setting ran out of memory while the settings were locked, and nothing could be read,
// set or sent ever after.
TEST(FuzzerFinding, SettingsStayUsableWhenMemoryRunsOutInTheirCopy) {
  for (unsigned k = 1; k < 20; ++k) {
    Device device;
    memory::FailEvery(k);
    device.Group({{kAlive}, {kSearch}});
    device.Unicast({{kReply}});
    memory::FailEvery(0);
    device.world.Happened();
    EXPECT_EQ(device.Group({{kSearch}}), Answered(1567)) << k;
    EXPECT_EQ(libSSDP::SetStatus(std::string(100, 's')), libSSDP::SSDP_SUCCESS);
  }
}

}  // namespace
}  // namespace hostile

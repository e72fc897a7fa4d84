// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include "private_network.h"

namespace support {

int RunTests(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // Listing the tests, as CTest does while the build runs, needs no network.
  if (!testing::GTEST_FLAG(list_tests)) {
    const std::string reason = EnterPrivateNetwork();
    if (!reason.empty()) {
      std::printf("SKIPPED, no private network: %s\n", reason.c_str());
      return std::getenv("LIBSSDP_REQUIRE_NETWORK") != nullptr ? 1 : 77;
    }
  }
  return RUN_ALL_TESTS();
}

}  // namespace support

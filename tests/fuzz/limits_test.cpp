// SPDX-License-Identifier: MIT
// What the protocol costs on a network that means harm, measured and printed: SECURITY.md
// says what can be done about it.
#include <cstdio>

#include "catalogue.h"

namespace hostile {
namespace {

const std::string kShortest =
    "M-SEARCH * HTTP/1.1\r\nMX: 1ST: urn:schemas-example-org:device:Light:1";

void PrintFactor(const char* what, const std::string& search, size_t answer) {
  constexpr size_t headers = 20 + 8;  // IPv4's and UDP's
  std::printf("limit: %s: %zu bytes bring out %zu, a factor of %.1f (%.1f with their headers)\n",
              what, search.size(), answer,
              static_cast<double>(answer) / static_cast<double>(search.size()),
              static_cast<double>(answer + headers) / static_cast<double>(search.size() + headers));
}

TEST(Limit, NoSearchIsAnsweredThatIsAByteShorter) {
  Device device;
  for (size_t i = 0; i < kShortest.size(); ++i) {
    std::string shorter = kShortest;
    shorter.erase(i, 1);
    EXPECT_EQ(device.Group({{shorter}}), kNothing) << shorter;
  }
}

TEST(Limit, OneSearchBringsOutOneAnswerThreeTimesItsSize) {
  Device device;
  EXPECT_EQ(device.Group({{kShortest}}), Answered(567));
  EXPECT_EQ(kShortest.size(), 68u);
  EXPECT_EQ(kAnswer.size(), 214u);
  PrintFactor("amplification", kShortest, kAnswer.size());
}

// The shortest target there is, and the longest answer that a receiver sees whole.
TEST(Limit, OneSearchBringsOutTwelveTimesItsSizeAtMost) {
  fuzz::Settings settings;
  settings.domain = settings.type = settings.version = "";
  settings.server = std::string(354, 's');
  Device device(settings);
  const std::string search = "M-SEARCH * HTTP/1.1\r\nMX: 1ST: urn::device::";
  const Lines seen = device.Group({{search}});
  const std::string answer = With(
      With(With(kAnswer, "SERVER: server", "SERVER: " + settings.server), kTarget, "urn::device::"),
      kTarget, "urn::device::");
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[2], fuzz::Sends("group", "192.0.2.7", 50000, answer));
  EXPECT_EQ(search.size(), 43u);
  EXPECT_EQ(answer.size(), 512u);
  PrintFactor("highest amplification", search, answer.size());
}

// While it lasts, the listener hears nothing else.
TEST(Limit, OneSearchHoldsTheListenerUpForTwentyFourDaysAtMost) {
  Device device;
  device.chance.random = 2147483647;
  const Lines seen = device.Group({{With(kSearch, "MX: 3", "MX: 99999999999")}});
  EXPECT_EQ(seen, Answered(2147483647));
  std::printf("limit: longest delay: %d ms, %.1f days\n", 2147483647, 2147483647 / 86400e3);
}

// Every delay that MX: 1 can lead to, once: no MX has a shorter mean.
TEST(Limit, OneListenerAnswersTwoSearchesASecond) {
  Device device;
  int64_t sum = 0;
  for (int delay = 0; delay < 1000; ++delay) {
    device.chance.random = 7000 + delay;
    EXPECT_EQ(device.Group({{kShortest}}), Answered(delay));
    sum += delay;
  }
  EXPECT_EQ(sum, 499500);
  std::printf("limit: mean delay of MX: 1: %.1f ms, %.2f answers a second\n",
              static_cast<double>(sum) / 1e3, 1e6 / static_cast<double>(sum));
}

}  // namespace
}  // namespace hostile

// SPDX-License-Identifier: MIT
#include <ctime>
#include <limits>

#include "catalogue.h"

namespace hostile {
namespace {

constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

struct Number {
  const char* name;
  const char* text;
  int32_t expiry;  // of a message with it as max-age at second 1000
  int64_t delay;   // of a search with it as MX: 1234567 % (MX * 1000), or 0 for no answer
};

const Number kNumbers[] = {
    {"MinusOne", "-1", 999, 567},
    {"PlusFive", "+5", 1005, 4567},
    {"LeadingZeros", "00001800", 2800, 1234567},
    {"LeadingBlank", " 60", 1060, 34567},
    {"LeadingTab", "\t60", 1060, 34567},
    {"Hexadecimal", "0x10", 1000, 0},
    {"Exponent", "1e3", 1001, 567},
    {"Fraction", "2.9", 1002, 567},
    {"Zero", "0", 1000, 0},
    {"MinusZero", "-0", 1000, 0},
    {"TwoSigns", "--5", 1000, 0},
    {"SignAndBlank", "- 5", 1000, 0},
    {"Separators", "1,800", 1001, 567},
    {"Empty", "", 1000, 0},
    {"Word", "never", 1000, 0},
    {"TwoToThe31MinusOne", "2147483647", kHighest, 1234567},
    {"TwoToThe31", "2147483648", kHighest, 1234567},
    {"TwoToThe32", "4294967296", kHighest, 1234567},
    {"TwoToThe32PlusOne", "4294967297", kHighest, 1234567},
    {"TwoToThe63", "9223372036854775808", kHighest, 1234567},
    {"TenToThe30", "1000000000000000000000000000000", kHighest, 1234567},
    {"MinusTwoToThe31", "-2147483648", kLowest + 1000, 1234567},
    {"MinusTwoToThe31MinusOne", "-2147483649", kLowest + 1000, 1234567},
    {"MinusTenToThe30", "-1000000000000000000000000000000", kLowest + 1000, 1234567},
};

Cases MaxAges(const std::string& text) {
  Cases cases;
  for (const auto& number : kNumbers)
    cases.push_back({std::string("MaxAge") + number.name,
                     With(text, "max-age=1800", std::string("max-age=") + number.text),
                     Added(Record("1234", number.expiry, "on"))});
  // White space before a number may be a line's end.
  cases.push_back({"MaxAgeOnTheNextLine", With(text, "max-age=1800", "max-age=\r\n7"),
                   Added(Record("1234", 1007, "on"))});
  return cases;
}

Cases Mxs() {
  Cases cases;
  for (const auto& number : kNumbers)
    cases.push_back({std::string("Mx") + number.name,
                     With(kSearch, "MX: 3", std::string("MX: ") + number.text),
                     number.delay == 0 ? kNothing : Answered(number.delay)});
  cases.push_back({"MxMissing", With(kSearch, "MX: 3\r\n", ""), kNothing});
  cases.push_back({"MxOnTheNextLine", With(kSearch, "MX: 3", "MX: \r\n1"), Answered(567)});
  return cases;
}

const Cases kGroup = MaxAges(kAlive) + Mxs();
GROUP_CASES(Number, kGroup);
const Cases kUnicast = MaxAges(kReply);
UNICAST_CASES(Number, kUnicast);

// rand() at its limits: no delay reaches the bound.
TEST(Number, TheDelayIsTheRemainderOfRand) {
  Device device;
  const std::string search = With(kSearch, "MX: 3", "MX: 1");
  for (const auto& [random, delay] : {std::pair{0, 0}, {999, 999}, {1000, 0}, {kHighest, 647}}) {
    device.chance.random = random;
    EXPECT_EQ(device.Group({{search}}), Answered(delay)) << random;
  }
}

// The clock's second counts, whatever it is; the sum ends at the limits. A 32-bit clock
// can't show all of these seconds.
TEST(Number, TheExpiryEndsAtTheLimitsOfItsType) {
  const struct {
    int64_t now;
    const char* age;
    int32_t expiry;
  } sums[] = {
      {kHighest - 60, "60", kHighest},
      {kHighest - 60, "61", kHighest},
      {kHighest, "0", kHighest},
      {kHighest, "-1", kHighest - 1},
      {kHighest + int64_t{1}, "0", kHighest},
      {int64_t{1} << 40, "-1800", kHighest},
      {-5, "-2147483648", kLowest},
      {-5, "5", 0},
  };
  for (const auto& sum : sums) {
    if (static_cast<time_t>(sum.now) != sum.now) continue;
    Device device;
    device.chance.now = sum.now;
    const std::string alive = With(kAlive, "1800", sum.age);
    EXPECT_EQ(device.Group({{alive}}), Added(Record("1234", sum.expiry, "on"))) << sum.age;
  }
}

}  // namespace
}  // namespace hostile

// SPDX-License-Identifier: MIT
#include "message.h"

#include <gmock/gmock.h>

#include <limits>

#include "golden.h"

namespace libSSDP {
namespace {

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

std::string Inserted(std::string text, const char* marker, const std::string& value) {
  EXPECT_TRUE(InsertAfter(text, marker, value));
  return text;
}

TEST(InsertAfter, PutsTheValueRightBehindTheMarkerAndRemovesNothing) {
  EXPECT_EQ(Inserted("MX: \r\nST: \r\n", "MX: ", "3"), "MX: 3\r\nST: \r\n");
  EXPECT_EQ(Inserted("ST: ", "ST: ", "urn"), "ST: urn");
  EXPECT_EQ(Inserted("MX: 1", "MX: ", "2"), "MX: 21");
}

TEST(InsertAfter, TakesTheFirstMarkerWhereverItStands) {
  EXPECT_EQ(Inserted("HOST: a\r\nST: b", "ST: ", "x"), "HOST: xa\r\nST: b");
}

TEST(InsertAfter, IsCaseSensitive) {
  EXPECT_EQ(Inserted("Host: a\r\nST: b", "ST: ", "x"), "Host: a\r\nST: xb");
}

TEST(InsertAfter, TakesAnyValue) {
  EXPECT_EQ(Inserted("MX: \r\n", "MX: ", ""), "MX: \r\n");
  EXPECT_EQ(Inserted("MX: \r\n", "MX: ", "MX: "), "MX: MX: \r\n");
  EXPECT_EQ(Inserted("MX: \r\n", "MX: ", std::string("a\0b", 3)), std::string("MX: a\0b\r\n", 9));
}

TEST(InsertAfter, WrapsToTheMarkersLengthLessOneWithoutAMarker) {
  const std::string text = "0123456789abcdefghijklmnopqrstuvwxyz";
  EXPECT_EQ(Inserted(text, "NTS: ", "!"), "0123!456789abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(Inserted(text, "Cache-Control: max-age=", "!"),
            "0123456789abcdefghijkl!mnopqrstuvwxyz");
  EXPECT_EQ(Inserted(text, "Status: ", "!"), "0123456!789abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(Inserted(text, "USN: uuid:", "!"), "012345678!9abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(Inserted(text, "MX: ", "!"), "012!3456789abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(Inserted(text, "DATE: ", "!"), "01234!56789abcdefghijklmnopqrstuvwxyz");
}

TEST(InsertAfter, AppendsWhenTheWrappedIndexIsTheEnd) {
  EXPECT_EQ(Inserted("012", "MX: ", "!"), "012!");
}

TEST(InsertAfter, RefusesATextThatIsShorterThanTheWrappedIndex) {
  for (std::string text : {"", "0", "01"}) {
    const std::string before = text;
    EXPECT_FALSE(InsertAfter(text, "MX: ", "3"));
    EXPECT_EQ(text, before);
  }
}

TEST(Contains, FindsATextAnywhere) {
  EXPECT_TRUE(Contains("abc", "a"));
  EXPECT_TRUE(Contains("abc", "bc"));
  EXPECT_TRUE(Contains("abc", "abc"));
  EXPECT_TRUE(Contains("abc", ""));
}

TEST(Contains, FindsNothingElse) {
  EXPECT_FALSE(Contains("abc", "B"));
  EXPECT_FALSE(Contains("abc", "abcd"));
  EXPECT_FALSE(Contains("", "a"));
}

TEST(Contains, EndsAtTheFirstNul) {
  EXPECT_FALSE(Contains("abc\0def", "def"));
}

TEST(ReadNumber, ReadsLikeAtoi) {
  EXPECT_EQ(ReadNumber("1800\r\n"), 1800);
  EXPECT_EQ(ReadNumber("007x"), 7);
  EXPECT_EQ(ReadNumber(" \t\r\n\v\f12"), 12);
  EXPECT_EQ(ReadNumber("-5"), -5);
  EXPECT_EQ(ReadNumber("+5"), 5);
  EXPECT_EQ(ReadNumber("12 34"), 12);
  EXPECT_EQ(ReadNumber("0x10"), 0);
}

TEST(ReadNumber, ReadsNoDigitsAsZero) {
  for (const char* text : {"", "x1", "-", "+", "- 5", "--5", "+-5", ".5"}) {
    EXPECT_EQ(ReadNumber(text), 0) << text;
  }
}

TEST(ReadNumber, EndsWhereItsTextEnds) {
  EXPECT_EQ(ReadNumber(std::string_view("1234", 2)), 12);
  EXPECT_EQ(ReadNumber(std::string_view("-5", 1)), 0);
  EXPECT_EQ(ReadNumber(std::string_view("  5", 2)), 0);
  EXPECT_EQ(ReadNumber(std::string_view()), 0);
}

TEST(ReadNumber, SaturatesAtTheLimitsOfInt) {
  EXPECT_EQ(ReadNumber("2147483647"), kMost);
  EXPECT_EQ(ReadNumber("2147483648"), kMost);
  EXPECT_EQ(ReadNumber("4294967296"), kMost);
  EXPECT_EQ(ReadNumber("99999999999"), kMost);
  EXPECT_EQ(ReadNumber("9223372036854775808"), kMost);
  EXPECT_EQ(ReadNumber("99999999999999999999999999999999"), kMost);
  EXPECT_EQ(ReadNumber("-2147483648"), kLeast);
  EXPECT_EQ(ReadNumber("-2147483649"), kLeast);
  EXPECT_EQ(ReadNumber("-99999999999999999999999999999999"), kLeast);
}

TEST(ReadDelayBound, IsAThousandTimesMx) {
  EXPECT_EQ(ReadDelayBound("MX: 3\r\n"), 3000);
  EXPECT_EQ(ReadDelayBound("M-SEARCH * HTTP/1.1\r\nMX: 120\r\nMX: 1\r\n"), 120000);
}

TEST(ReadDelayBound, IsTheMagnitudeOfANegativeMx) {
  EXPECT_EQ(ReadDelayBound("MX: -1\r\n"), 1000);
  EXPECT_EQ(ReadDelayBound("MX: -2147483648\r\n"), 2147483648000);
}

TEST(ReadDelayBound, IsZeroWithoutANumber) {
  for (const char* text : {"", "MX:3\r\n", "mx: 3\r\n", "MX: \r\n", "MX: x\r\n", "MX: 0\r\n",
                           "MX: -0\r\n", "MX: 0.9\r\n"}) {
    EXPECT_EQ(ReadDelayBound(text), 0) << text;
  }
}

TEST(ReadDelayBound, DoesNotOverflow) {
  EXPECT_EQ(ReadDelayBound("MX: 536870912\r\n"), 536870912000);
  EXPECT_EQ(ReadDelayBound("MX: 2147483647\r\n"), 2147483647000);
  EXPECT_EQ(ReadDelayBound("MX: 99999999999\r\n"), 2147483647000);
}

// A record whose every field says that nobody has written it.
DeviceInfo Untouched() {
  DeviceInfo device;
  device.m_address = "untouched";
  return device;
}

TEST(ReadDevice, ReadsEveryFieldButTheAddress) {
  DeviceInfo device = Untouched();
  EXPECT_TRUE(ReadDevice(golden::kLampAlive.c_str(), 1000, ShortStatus::kReject, device));
  EXPECT_EQ(device.m_expiry, 2800);
  EXPECT_EQ(device.m_status, "ok");
  EXPECT_EQ(device.m_uuid, "1234");
  EXPECT_EQ(device.m_address, "untouched");
}

TEST(ReadDevice, ReadsAResponseLikeAnAnnouncement) {
  DeviceInfo device;
  EXPECT_TRUE(ReadDevice(golden::kPumpAnswer.c_str(), 1000, ShortStatus::kReadAsEmpty, device));
  EXPECT_EQ(device.m_expiry, 995);
  EXPECT_EQ(device.m_status, "flow: 3 USN: uuid:9");
  EXPECT_EQ(device.m_uuid, "2f4c-00");
}

constexpr char kMaxAge[] = "Cache-Control: max-age=";

// The record of a message whose "Status: " ends it with `ending`.
DeviceInfo WithStatus(const std::string& ending, ShortStatus short_status = ShortStatus::kReject) {
  DeviceInfo device;
  const std::string message = kMaxAge + ("1\r\nUSN: uuid:u::x\r\nStatus: " + ending);
  EXPECT_TRUE(ReadDevice(message.c_str(), 0, short_status, device)) << ending;
  return device;
}

TEST(ReadDevice, DropsTheLastFourBytesOfTheStatusWhateverTheyAre) {
  EXPECT_EQ(WithStatus("ready\r\n\r\n").m_status, "ready");
  EXPECT_EQ(WithStatus("ready\r\n").m_status, "rea");
  EXPECT_EQ(WithStatus("ready").m_status, "r");
  EXPECT_EQ(WithStatus("1234").m_status, "");
  EXPECT_EQ(WithStatus("\r\n\r\n").m_status, "");
}

TEST(ReadDevice, TakesAllThatFollowsTheStatusForTheStatus) {
  EXPECT_EQ(WithStatus("ready\r\nX: y\r\n\r\n").m_status, "ready\r\nX: y");
  EXPECT_EQ(WithStatus("a Status: b\r\n\r\n").m_status, "a Status: b");
}

TEST(ReadDevice, RejectsOrReadsAsEmptyAStatusThatIsTooShort) {
  for (const std::string ending : {"", "\n", "\r\n", "abc"}) {
    EXPECT_EQ(WithStatus(ending, ShortStatus::kReadAsEmpty).m_status, "");
    const std::string message = kMaxAge + ("1\r\nUSN: uuid:u::x\r\nStatus: " + ending);
    DeviceInfo device;
    EXPECT_FALSE(ReadDevice(message.c_str(), 0, ShortStatus::kReject, device)) << ending;
  }
}

TEST(ReadDevice, ReadsNothingBehindTheEndOfTheMessage) {
  const std::string text =
      "Cache-Control: max-age=12\r\nStatus: ready\r\n\r\nUSN: uuid:12345678:and more";
  const std::string_view whole = text;
  DeviceInfo device;
  EXPECT_TRUE(ReadDevice(whole, 0, ShortStatus::kReject, device));
  for (size_t length = 0; length < text.find(":and more") + 1; ++length)
    EXPECT_FALSE(ReadDevice(whole.substr(0, length), 0, ShortStatus::kReject, device)) << length;
}

TEST(ReadDevice, EndsTheUuidBeforeTheNextColon) {
  const auto uuid_of = [](const std::string& usn) {
    DeviceInfo device;
    const std::string message = kMaxAge + ("1\r\nUSN: uuid:" + usn + "\r\nStatus: s\r\n\r\n");
    EXPECT_TRUE(ReadDevice(message.c_str(), 0, ShortStatus::kReject, device)) << usn;
    return device.m_uuid;
  };
  EXPECT_EQ(uuid_of("1234-abcd::urn:schemas-example-org:device:Light:1"), "1234-abcd");
  EXPECT_EQ(uuid_of("a:b"), "a");
  EXPECT_EQ(uuid_of("::urn"), "");
  EXPECT_EQ(uuid_of(" Not A Uuid ::"), " Not A Uuid ");
  EXPECT_EQ(uuid_of("1234"), "1234\r\nStatus");
}

TEST(ReadDevice, LacksNothingOrIsFalse) {
  DeviceInfo device;
  for (const std::string message :
       {"USN: uuid:u::x\r\nStatus: s\r\n\r\n", "Cache-Control: max-age=1\r\nUSN: uuid:u::x\r\n\r\n",
        "Cache-Control: max-age=1\r\nStatus: s\r\n\r\n",
        "Cache-Control: max-age=1\r\nStatus: s\r\nUSN: uuid:u", "", "Status: ", "USN: uuid:"}) {
    EXPECT_FALSE(ReadDevice(message.c_str(), 0, ShortStatus::kReject, device)) << message;
    EXPECT_FALSE(ReadDevice(message.c_str(), 0, ShortStatus::kReadAsEmpty, device)) << message;
  }
}

TEST(ReadDevice, MatchesItsHeadersCaseSensitively) {
  DeviceInfo device;
  for (const std::string message :
       {"CACHE-CONTROL: max-age=1\r\nUSN: uuid:u::x\r\nStatus: s\r\n\r\n",
        "Cache-Control: max-age=1\r\nusn: uuid:u::x\r\nStatus: s\r\n\r\n",
        "Cache-Control:max-age=1\r\nUSN: uuid:u::x\r\nStatus: s\r\n\r\n",
        "Cache-Control: max-age=1\r\nUSN: uuid:u::x\r\nSTATUS: s\r\n\r\n"}) {
    EXPECT_FALSE(ReadDevice(message.c_str(), 0, ShortStatus::kReject, device)) << message;
  }
}

TEST(ReadDevice, ReadsHeadersInAnyOrder) {
  DeviceInfo device;
  EXPECT_TRUE(ReadDevice("Status: s\r\nUSN: uuid:u:\r\nCache-Control: max-age=7", 0,
                         ShortStatus::kReject, device));
  EXPECT_EQ(device.m_expiry, 7);
  EXPECT_EQ(device.m_uuid, "u");
  EXPECT_EQ(device.m_status, "s\r\nUSN: uuid:u:\r\nCache-Control: max-a");
}

int32_t ExpiryOf(const std::string& max_age, int64_t now) {
  DeviceInfo device;
  const std::string message = kMaxAge + (max_age + "\r\nUSN: uuid:u::x\r\nStatus: s\r\n\r\n");
  EXPECT_TRUE(ReadDevice(message.c_str(), now, ShortStatus::kReject, device));
  return device.m_expiry;
}

TEST(ReadDevice, AddsTheMaxAgeToTheSecondOfArrival) {
  EXPECT_EQ(ExpiryOf("1800", 1794752579), 1794754379);
  EXPECT_EQ(ExpiryOf("-1", 1000), 999);
  EXPECT_EQ(ExpiryOf("soon", 1000), 1000);
  EXPECT_EQ(ExpiryOf("", 1000), 1000);
}

TEST(ReadDevice, SaturatesTheExpiry) {
  EXPECT_EQ(ExpiryOf("2147483647", 1794752579), kMost);
  EXPECT_EQ(ExpiryOf("99999999999", 1794752579), kMost);
  EXPECT_EQ(ExpiryOf("352731069", 1794752579), kMost);
  EXPECT_EQ(ExpiryOf("352731068", 1794752579), kMost);
  EXPECT_EQ(ExpiryOf("352731067", 1794752579), kMost - 1);
  EXPECT_EQ(ExpiryOf("-99999999999", -1794752579), kLeast);
  EXPECT_EQ(ExpiryOf("0", 4294967296), kMost);
}

TEST(DeviceInfo, StartsEmpty) {
  const DeviceInfo device;
  EXPECT_EQ(device.m_expiry, 0);
  EXPECT_EQ(device.m_status, "");
  EXPECT_EQ(device.m_address, "");
  EXPECT_EQ(device.m_uuid, "");
}

TEST(DeviceInfo, IsCopiedWholeAndIndependently) {
  DeviceInfo source;
  source.m_expiry = 5;
  source.m_status = "ok";
  source.m_address = "192.168.1.7";
  source.m_uuid = "1234";
  DeviceInfo copy(source);
  EXPECT_EQ(copy.m_expiry, 5);
  EXPECT_EQ(copy.m_status, "ok");
  EXPECT_EQ(copy.m_address, "192.168.1.7");
  EXPECT_EQ(copy.m_uuid, "1234");
  copy.m_status = copy.m_address = copy.m_uuid = "changed";
  EXPECT_EQ(source.m_status, "ok");
  EXPECT_EQ(source.m_address, "192.168.1.7");
  EXPECT_EQ(source.m_uuid, "1234");
}

}  // namespace
}  // namespace libSSDP

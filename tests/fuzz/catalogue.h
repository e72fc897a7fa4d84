// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_CATALOGUE_H
#define LIBSSDP_TESTS_FUZZ_CATALOGUE_H

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "lines.h"
#include "messages.h"
#include "trial.h"
#include "world.h"

// What the library makes of datagrams that nobody well-meaning sends: each case says, written out
// by hand, everything that happens.
namespace hostile {

using fuzz::Arrival;
using fuzz::Event;
using fuzz::Lines;
using libSSDP::DeviceInfo;

// In the header, so that they are there before the tables that are made from them.

// What the device under test is.
inline const std::string kTarget = "urn:schemas-example-org:device:Light:1";

inline const std::string kAlive = support::Alive("1234");
inline const std::string kByebye = support::Byebye("1234");
inline const std::string kReply = support::Response("1234");
inline const std::string kSearch = support::MSearch(3);

// Of the device under test.
inline const std::string kAnswer =
    "HTTP/1.1 200 OK\r\n"
    "Cache-Control: max-age=1800\r\n"
    "DATE: Sun Nov 15 14:22:59 2026\n\rEXT: \r\n"
    "SERVER: server\r\n"
    "ST: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:own::urn:schemas-example-org:device:Light:1\r\n"
    "Status: ok\r\n"
    "\r\n";

// `text` with `old`, which it must have, changed to `now`; the first of several.
std::string With(std::string text, const std::string& old, const std::string& now);

// `text` with a header in front of its headers that makes it `size` bytes long.
std::string FilledTo(size_t size, const std::string& text);

// At second 1000, from 192.0.2.7, unless said otherwise.
DeviceInfo Record(const std::string& uuid, int32_t expiry, const std::string& status);
DeviceInfo Usual();  // what kAlive and kReply say

Lines Added(const DeviceInfo& record);
Lines Removed(const DeviceInfo& record);
Lines Answered(int64_t delay);  // when rand() is 1234567
Lines operator+(Lines first, const Lines& then);
const Lines kNothing;

struct Case {
  std::string name;
  std::string datagram;
  Lines expected;
};
using Cases = std::vector<Case>;

Cases operator+(Cases first, const Cases& then);

void PrintTo(const Case& hostile, std::ostream* out);

// The service at the seam, and what it does with datagrams that come one after the other.
class Device {
 public:
  explicit Device(const fuzz::Settings& settings = {});

  Lines Group(const std::vector<Arrival>& arrivals);
  Lines Unicast(const std::vector<Arrival>& arrivals);

  fuzz::Chance chance;
  fuzz::World world;

 private:
  Lines Run(void (fuzz::World::*loop)(fuzz::World::Source), const std::vector<Arrival>& arrivals);
};

// Each case of a table is a test of its own: the datagram does what is expected, nothing is
// printed, and a valid one is understood afterwards.
class GroupCase : public testing::TestWithParam<Case> {};
class UnicastCase : public testing::TestWithParam<Case> {};

// The whole of a table as tests named SUITE/NAME.
#define GROUP_CASES(suite, cases)                                      \
  INSTANTIATE_TEST_SUITE_P(suite, GroupCase, testing::ValuesIn(cases), \
                           testing::PrintToStringParamName())
#define UNICAST_CASES(suite, cases)                                      \
  INSTANTIATE_TEST_SUITE_P(suite, UnicastCase, testing::ValuesIn(cases), \
                           testing::PrintToStringParamName())

}  // namespace hostile

#endif

// SPDX-License-Identifier: MIT
#include "catalogue.h"

namespace hostile {
namespace {

// kAlive or kReply, made `size` bytes long by its status.
std::string WithStatusUpTo(size_t size, const std::string& text) {
  return With(text, "Status: on", "Status: " + std::string(size - text.size() + 2, 's'));
}

// Of such a message the status, when a receiver sees 512 bytes of it.
std::string Status(size_t length) {
  return std::string(length, 's');  // NOLINT: no list of two characters
}

// kAlive up to and with "Status: ", 201 bytes; kReply, 207. The message's last 4 bytes are dropped.
constexpr size_t kAliveHead = 201;
constexpr size_t kReplyHead = 207;

// Orders of headers that put the uuid or the number at the end. The status then goes on to the end.
const std::string kUuidLast =
    "NOTIFY * HTTP/1.1\r\nNT: urn:schemas-example-org:device:Light:1\r\nNTS: ssdp:alive\r\n"
    "Cache-Control: max-age=1800\r\nStatus: on\r\nUSN: uuid:1234::urn\r\n\r\n";
const std::string kAgeLast =
    "HTTP/1.1 200 OK\r\nST: urn:schemas-example-org:device:Light:1\r\n"
    "USN: uuid:1234::urn:schemas-example-org:device:Light:1\r\n"
    "Status: on\r\nCache-Control: max-age=1800\r\n\r\n";

const Cases kGroup = {
    {"Empty", "", kNothing},
    {"OneByte", "N", kNothing},
    {"Of511Bytes", WithStatusUpTo(511, kAlive),
     Added(Record("1234", 2800, Status(511 - kAliveHead - 4)))},
    {"Of512Bytes", WithStatusUpTo(512, kAlive),
     Added(Record("1234", 2800, Status(512 - kAliveHead - 4)))},
    {"Of513Bytes", WithStatusUpTo(513, kAlive),
     Added(Record("1234", 2800, Status(512 - kAliveHead - 4)))},
    {"Of1400Bytes", WithStatusUpTo(1400, kAlive),
     Added(Record("1234", 2800, Status(512 - kAliveHead - 4)))},
    {"Of65507Bytes", WithStatusUpTo(65507, kAlive),
     Added(Record("1234", 2800, Status(512 - kAliveHead - 4)))},
    {"SearchOf512Bytes", FilledTo(512, kSearch), Answered(1567)},
    {"SearchOf65507Bytes", FilledTo(65507, kSearch), kNothing},
    {"SearchWhoseTargetEndsAtByte512", FilledTo(534, kSearch), Answered(1567)},
    {"SearchWhoseTargetEndsAtByte513", FilledTo(535, kSearch), kNothing},
    {"ColonBehindTheUuidAtByte512", FilledTo(512 + 8, kUuidLast),
     Added(Record("1234", 2800, "on\r\nUSN: uuid:1"))},
    {"ColonBehindTheUuidAtByte513", FilledTo(512 + 9, kUuidLast), kNothing},
    {"Byte512InsideTheUuid", FilledTo(512 + 11, kUuidLast), kNothing},
    {"StatusHeaderEndsAtByte512", FilledTo(512 + 6, kAlive), kNothing},
    {"StatusAndItsEndAtByte512", FilledTo(512 + 2, kAlive), Added(Record("1234", 2800, ""))},
    {"StatusAndItsEndAtByte513", FilledTo(512 + 3, kAlive), kNothing},
};
GROUP_CASES(Size, kGroup);

const Cases kUnicast = {
    {"Empty", "", kNothing},
    {"OneByte", "H", kNothing},
    {"Of511Bytes", WithStatusUpTo(511, kReply),
     Added(Record("1234", 2800, Status(511 - kReplyHead - 4)))},
    {"Of512Bytes", WithStatusUpTo(512, kReply),
     Added(Record("1234", 2800, Status(512 - kReplyHead - 4)))},
    {"Of513Bytes", WithStatusUpTo(513, kReply),
     Added(Record("1234", 2800, Status(512 - kReplyHead - 4)))},
    {"Of1400Bytes", WithStatusUpTo(1400, kReply),
     Added(Record("1234", 2800, Status(512 - kReplyHead - 4)))},
    {"Of65507Bytes", WithStatusUpTo(65507, kReply),
     Added(Record("1234", 2800, Status(512 - kReplyHead - 4)))},
    {"StatusHeaderEndsAtByte512", FilledTo(512 + 6, kReply), Added(Record("1234", 2800, ""))},
    {"StatusHeaderEndsAtByte513", FilledTo(512 + 7, kReply), kNothing},
    {"Byte512InsideTheMaxAge", FilledTo(512 + 6, kAgeLast),
     Added(Record("1234", 1018, "on\r\nCache-Control: max-ag"))},
    {"Byte512BeforeTheMaxAge", FilledTo(512 + 8, kAgeLast),
     Added(Record("1234", 1000, "on\r\nCache-Control: max-"))},
};
UNICAST_CASES(Size, kUnicast);

// Two datagrams that one run of a loop receives into the same buffer.
TEST(Size, NothingOfALongDatagramShowsInAShortOneAfterIt) {
  Device device;
  const std::string rest = kAlive.substr(kAlive.find("USN: "));
  const std::string head = kAlive.substr(0, kAlive.find("USN: "));
  EXPECT_EQ(device.Group({{WithStatusUpTo(512, kAlive)}, {head}, {""}, {"N"}, {rest}}),
            Added(Record("1234", 2800, Status(512 - kAliveHead - 4))));
  EXPECT_EQ(device.Unicast({{WithStatusUpTo(512, With(kReply, "1234", "5678"))},
                            {kReply.substr(0, kReply.find("USN: "))},
                            {""},
                            {"H"}}),
            Added(Record("5678", 2800, Status(512 - kReplyHead - 4))));
}

TEST(Size, NothingOfADatagramShowsAfterAReceiveThatFails) {
  Device device;
  EXPECT_EQ(device.Group({{kAlive}, {"", 0, 0, 12}}), Added(Usual()));
  EXPECT_EQ(device.Unicast({{With(kReply, "1234", "5678")}, {"", 0, 0, 12}}),
            Added(Record("5678", 2800, "on")));
}

}  // namespace
}  // namespace hostile

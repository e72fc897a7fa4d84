// SPDX-License-Identifier: MIT
// Peers that send what could fool a terminal, a line reader or a JSON reader.
#include "screen.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

struct Attack {
  const char* uuid;
  const char* status;
};

// A forged line, one that clears the screen and sets the title, the 8-bit form of an escape, text
// that is no UTF-8, quotes, and characters that turn the writing direction.
const Attack kAttacks[] = {
    {"a1\n2026-01-01T00\r\n", "x\r\n2026-01-01T00-00-00Z new 10.77.0.9 forged on"},
    {"a2\x1b[2J\x1b[H", "\x1b]0;title\a\x1b[31mred"},
    {"a3\x9b"
     "2J",
     "\xc2\x9b"
     "31m"},
    {"a4\xff\xfe", "\xc3( \xf0\x9f\x92"},
    {"a5\"}", "\"} {\"event\"-\"forged\"\\"},
    {"a6\xe2\x80\xae", "\t\x7f\b\b\b"},
};

void SendAll(support::Host& host) {
  support::Socket peer = host.OpenSocket();
  for (const auto& attack : kAttacks)
    peer.Send(Alive(attack.uuid, attack.status), "239.255.255.250");
}

}  // namespace

TEST_F(ToolTest, AHostilePeerForgesNoLine) {
  const Program watch = StartWatch(1);
  SendAll(m_lan[3]);
  AwaitLine(*watch, {" a6"});
  EXPECT_THAT(WithoutTimes(watch->Lines()),
              ElementsAre("started 10.77.0.1 me up",
                          "new 10.77.0.3 a1\\x0a2026-01-01T00\\x0d\\x0a "
                          "x\\x0d\\x0a2026-01-01T00-00-00Z new 10.77.0.9 forged on",
                          "new 10.77.0.3 a2\\x1b[2J\\x1b[H \\x1b]0;title\\x07\\x1b[31mred",
                          "new 10.77.0.3 a3\\x9b2J \\xc2\\x9b31m",
                          "new 10.77.0.3 a4\\xff\\xfe \\xc3( \\xf0\\x9f\\x92",
                          "new 10.77.0.3 a5\"} \"} {\"event\"-\"forged\"\\\\",
                          "new 10.77.0.3 a6\\xe2\\x80\\xae \\x09\\x7f\\x08\\x08\\x08"));
}

TEST_F(ToolTest, AHostilePeerForgesNoObject) {
  const Program watch = StartWatch(1, {"--json"});
  SendAll(m_lan[3]);
  AwaitLine(*watch, {"\"a6"});
  EXPECT_THAT(watch->Lines(), Each(MatchesRegex("[ -~]+")));
  EXPECT_THAT(
      ReadJson(watch->Lines(), "o['event'], ascii(o['uuid']), ascii(o['status'])"),
      ElementsAre(
          "started 'me' 'up'",
          "new 'a1\\n2026-01-01T00\\r\\n' 'x\\r\\n2026-01-01T00-00-00Z new 10.77.0.9 forged on'",
          "new 'a2\\x1b[2J\\x1b[H' '\\x1b]0;title\\x07\\x1b[31mred'",
          "new 'a3\\ufffd2J' '\\x9b31m'", "new 'a4\\ufffd\\ufffd' '\\ufffd( \\ufffd'",
          "new 'a5\"}' '\"} {\"event\"-\"forged\"\\\\'",
          "new 'a6\\u202e' '\\t\\x7f\\x08\\x08\\x08'"));
}

TEST_F(ToolTest, AHostilePeerDoesNotTearTheScreen) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; '" SSDP_PEER "' watch --uuid me --color never");
  screen.AwaitText("quit");
  SendAll(m_lan[3]);
  const auto lines = screen.AwaitText("6 here");
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[0], "eth0 10.77.0.1  me  up  urn:example-org:device:Peer:1");
  EXPECT_THAT(lines[2], HasSubstr("+ a1\\x0a20... "));
  EXPECT_THAT(lines[3], HasSubstr("+ a2\\x1b[2... "));
  EXPECT_THAT(lines[4], HasSubstr("+ a3\\x9b2J "));
  EXPECT_THAT(lines[5], HasSubstr("+ a4\\xff\\xfe "));
  EXPECT_THAT(lines[6], HasSubstr("+ a5\"} "));
  EXPECT_THAT(lines[7], HasSubstr("+ a6\\xe2\\x... "));
  EXPECT_THAT(screen.Capture(true), Each(Not(HasSubstr("\x1b[31m"))));
}

TEST_F(ToolTest, AHostilePeerDoesNotTearTheScreenOfAUtf8Locale) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; LC_ALL=C.UTF-8 '" SSDP_PEER "' watch --uuid me --color never");
  screen.AwaitText("quit");
  SendAll(m_lan[3]);
  m_lan[3].OpenSocket().Send(Alive("a7", "K\xc3\xbc\x63he \xe6\x9d\xb1"), "239.255.255.250");
  const auto lines = screen.AwaitText("7 here");
  ASSERT_EQ(lines.size(), 11u);
  EXPECT_EQ(lines[0], "eth0 10.77.0.1  me  up  urn:example-org:device:Peer:1");
  EXPECT_THAT(lines[3], HasSubstr("+ a2\\x1b[2... "));
  EXPECT_THAT(lines[4], HasSubstr("+ a3\\x9b2J "));
  EXPECT_THAT(lines[5], HasSubstr("+ a4\\xff\\xfe "));
  EXPECT_THAT(lines[7], HasSubstr("+ a6\\xe2\\x... "));
  EXPECT_THAT(lines[8], HasSubstr(" K\xc3\xbc\x63he \xe6\x9d\xb1 "));
}

TEST_F(ToolTest, ASearchShowsAHostilePeerSafely) {
  const Program lamp = StartLamp(2,
                                 "b\x9b"
                                 "2J\xff");
  const Result result = Run(1, {"search", "--mx", "1", "--wait", "4"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, Contains(HasSubstr("b\\x9b2J\\xff 10.77.0.2 on")));
  EXPECT_THAT(result.output, Each(MatchesRegex("[ -~]+")));
}

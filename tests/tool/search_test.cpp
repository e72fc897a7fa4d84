// SPDX-License-Identifier: MIT
#include <signal.h>

#include "screen.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace {

// Answers come within a second; the rest is for a busy machine.
const Arguments kSearch = {"search", "--uuid", "me", "--mx", "1", "--wait", "4"};

Arguments With(Arguments arguments, const std::string& further) {
  arguments.push_back(further);
  return arguments;
}

}  // namespace

TEST_F(ToolTest, ASearchListsThoseWhoAnswer) {
  const Program lamp = StartLamp(2, "lamp");
  const Program radio = StartLamp(3, "ra dio", {"--status", "plays \"Waltz\""});
  const Result result = Run(1, kSearch);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output,
              UnorderedElementsAre("lamp 10.77.0.2 on", "ra\\x20dio 10.77.0.3 plays \"Waltz\""));
  EXPECT_EQ(result.errors, "");
}

// A script need not wait for the end of the search.
TEST_F(ToolTest, ASearchWithoutATerminalPrintsEachPeerAsItAnswers) {
  const Program lamp = StartLamp(2, "lamp");
  for (const char* form : {"--verbose", "--json"}) {
    const Program search = Start(1, {"search", "--mx", "1", "--wait", "600", form});
    AwaitLine(*search, {"lamp", "10.77.0.2"});
    const Program radio = StartLamp(3, "radio");
    AwaitLine(*search, {"radio", "10.77.0.3"});
    search->Signal(SIGINT);
    EXPECT_EQ(search->Wait(), 0);
    EXPECT_THAT(search->Lines(), SizeIs(2));
  }
}

TEST_F(ToolTest, ASearchForTheFirstEndsThere) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  support::Socket peer = m_lan[3].OpenSocket();
  const Program search = Start(1, {"search", "--wait", "600", "--first"});
  wire.Receive();  // it is there
  for (int i = 0; i < 50; ++i) peer.Send(Alive(std::to_string(i), "on"), "239.255.255.250");
  EXPECT_EQ(search->Wait(), 0);
  EXPECT_THAT(search->Lines(), ElementsAre("0 10.77.0.3 on"));
}

TEST_F(ToolTest, AQuietSearchTellsByItsStatus) {
  const Result nobody = Run(1, {"search", "-q", "--wait", "1"});
  EXPECT_EQ(nobody.status, 1);
  EXPECT_EQ(nobody.errors, "");
  const Program lamp = StartLamp(2, "lamp");
  const Result found = Run(1, {"search", "-q", "--mx", "1", "--wait", "600"});
  EXPECT_EQ(found.status, 0);
  EXPECT_THAT(found.output, IsEmpty());
  EXPECT_EQ(found.errors, "");
}

// Its own device answers the search as well, and doesn't count.
TEST_F(ToolTest, ASearchThatNobodyElseAnswersEndsWithOne) {
  const Program other_kind = StartLamp(2, "lamp", {"--device-type", "Lamp"});
  const Result result = Run(1, kSearch);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_EQ(result.errors, "ssdp-peer: nobody answered\n");
  EXPECT_THAT(Run(1, With(kSearch, "--json")).output, IsEmpty());
}

// A host that never set its notify time-out sends -1. It has answered, and is to be seen.
TEST_F(ToolTest, ASearchListsWhoGivesItselfNoTime) {
  support::Socket peer = m_lan[3].OpenSocket();
  support::Socket wire = m_lan[2].OpenGroupSocket();
  const Program search = Start(1, {"search", "--wait", "2", "--json"});
  wire.Receive();  // it is there
  peer.Send(Alive("brief", "on", -1), "239.255.255.250");
  EXPECT_EQ(search->Wait(), 0);
  EXPECT_THAT(ReadJson(search->Lines(), "o['uuid']"), ElementsAre("brief"));
}

TEST_F(ToolTest, ASearchInJsonIsReadBackByAnotherParser) {
  const Program lamp = StartLamp(2, "lamp",
                                 {"--status",
                                  "K\xc3\xbc"
                                  "che \"\\"});
  const Result result = Run(1, With(kSearch, "--json"));
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(ReadJson(result.output, "list(o), o['uuid'], o['address'], ascii(o['status'])"),
              ElementsAre("['time', 'uuid', 'address', 'status', 'seen', 'expires'] lamp 10.77.0.2 "
                          "'K\\xfcche \"\\\\'"));
}

TEST_F(ToolTest, ASearchSendsOneSearchAndSaysGoodbye) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  Run(1, {"search", "--uuid", "me", "--wait", "1"});
  const std::string search = wire.Receive().text;
  EXPECT_THAT(search, StartsWith("M-SEARCH * HTTP/1.1\r\n"));
  EXPECT_THAT(search, HasSubstr("\r\nMX: 1\r\n"));
  EXPECT_THAT(wire.Receive().text, HasSubstr("\r\nNTS: ssdp:byebye\r\n"));
  EXPECT_TRUE(wire.Drain().empty());
}

TEST_F(ToolTest, ASearchThatIsInterruptedTellsWhatItFound) {
  const Program lamp = StartLamp(2, "lamp", {"--verbose"});
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; '" SSDP_PEER "' search --mx 1 --wait 600; echo status $?");
  screen.AwaitText("[--------------------] 1 found, ");
  screen.Press("C-c");
  EXPECT_THAT(Timeless(screen.AwaitEnd("$")),
              ElementsAre("  UUID ADDRESS   STATUS SEEN EXPIRES", "  lamp 10.77.0.2 on .. ..",
                          "status 0", "$"));
}

TEST_F(ToolTest, TheProgressBarFillsAndGoes) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; '" SSDP_PEER "' search --mx 1 --wait 4; echo status $?");
  screen.AwaitText("[#####");
  screen.AwaitText("#########-");
  EXPECT_THAT(screen.AwaitEnd("$"), ElementsAre("ssdp-peer: nobody answered", "status 1", "$"));
}

TEST_F(ToolTest, TheProgressBarStaysOnItsLineHoweverNarrow) {
  Screen screen(m_lan[1], m_folder);
  screen.Resize(24, 12);
  const std::string record = m_folder / "record";
  screen.Record(record);
  screen.Command("PS1='# '; search() { '" SSDP_PEER "' search --wait 2 2>/dev/null; }");
  screen.Command("clear; search; echo status $?");
  screen.AwaitText("status 1");
  EXPECT_THAT(screen.AwaitEnd("#"), ElementsAre("status 1", "#"));
  // The last column stays free, or the erase would hit what stands there.
  screen.Await("the bar in the record", [&](const Screen::Lines&) {
    return ReadFile(record).find("\r[--------------------] \x1b[K") != std::string::npos;
  });
}

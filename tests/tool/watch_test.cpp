// SPDX-License-Identifier: MIT
#include <signal.h>

#include <regex>

#include "screen.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string kWatch = "'" SSDP_PEER "' watch --uuid me --device-version 1";
const char kTop[] = "eth0 10.77.0.1  me  up  urn:example-org:device:Peer:1";
const char kKeys[] = "here   q quit  s search  / filter  o order  a announce";

// Waits for a screen on which nothing stands out any more.
Screen::Lines AwaitCalm(Screen& screen, const std::string& row) {
  return screen.Await("a calm " + row, [&](const Screen::Lines& lines) {
    for (const auto& line : lines)
      if (line.rfind("  " + row, 0) == 0) return true;
    return false;
  });
}

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

}  // namespace

TEST_F(ToolTest, AWatchPrintsALineForEachThingThatHappens) {
  const Program watch = StartWatch(1);
  support::Socket peer = m_lan[3].OpenSocket();
  peer.Send(Alive("lamp", "on"), "239.255.255.250");
  AwaitLine(*watch, {" new "});
  peer.Send(Alive("lamp", "on"), "239.255.255.250");  // nothing new
  peer.Send(Alive("lamp", "off"), "239.255.255.250");
  peer.Send(Byebye("stranger", ""), "239.255.255.250");  // was never here
  peer.Send(Byebye("lamp", "off"), "239.255.255.250");
  AwaitLine(*watch, {" left "});
  peer.Send(Alive("brief", "", 1), "239.255.255.250");
  AwaitLine(*watch, {" expired "});
  EXPECT_THAT(
      WithoutTimes(watch->Lines()),
      ElementsAre("started 10.77.0.1 me up", "new 10.77.0.3 lamp on", "changed 10.77.0.3 lamp off",
                  "left 10.77.0.3 lamp off", "new 10.77.0.3 brief ", "expired 10.77.0.3 brief "));
  watch->Signal(SIGTERM);
  EXPECT_EQ(watch->Wait(), 0);
}

TEST_F(ToolTest, AWatchFindsThoseWhoWereThereBefore) {
  const Program lamp = StartLamp(2, "lamp");
  const Program watch = StartWatch(1);
  AwaitLine(*watch, {" new 10.77.0.2 lamp on"});
}

TEST_F(ToolTest, AWatchIsADeviceThatOthersFind) {
  const Program watch = StartWatch(1);
  const Result result = Run(2, {"search", "--mx", "1", "--wait", "4", "--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(ReadJson(result.output, "o['uuid']"), ElementsAre("me"));
}

TEST_F(ToolTest, AWatchFullOfForgedDevicesShowsARealOne) {
  const std::string errors = m_folder / "errors";
  const Program watch = Start(1, {"watch", "--uuid", "me"}, errors);
  AwaitLine(*watch, {"started"});
  support::Socket peer = m_lan[3].OpenSocket();
  size_t from = 0;
  for (int i = 1; i <= 4096; ++i) {
    peer.Send(Alive("forged-" + std::to_string(i), "on", INT32_MAX), "239.255.255.250");
    if (i % 64 != 0) continue;  // as many as its buffer surely holds
    AwaitLine(*watch, {" new 10.77.0.3 forged-" + std::to_string(i) + " on"}, from);
    from = watch->Lines().size();
  }
  const Program lamp = StartLamp(2, "lamp");
  AwaitLine(*watch, {" new 10.77.0.2 lamp on"}, from);
  AwaitLine(*watch, {" dropped 10.77.0.3 forged-1 on"}, from);
  lamp->Signal(SIGTERM);
  AwaitLine(*watch, {" left 10.77.0.2 lamp on"}, from);
  EXPECT_EQ(ReadFile(errors), "");
}

// Somebody else's device of the same name isn't us.
TEST_F(ToolTest, ANamesakeElsewhereIsShown) {
  const Program watch = StartWatch(1);
  support::Socket peer = m_lan[3].OpenSocket();
  peer.Send(Alive("me", "an impostor"), "239.255.255.250");
  AwaitLine(*watch, {" new 10.77.0.3 me an impostor"});
}

TEST_F(ToolTest, TheLiveTableShowsWhoComesChangesAndLeaves) {
  support::Socket peer = m_lan[3].OpenSocket();
  Screen screen(m_lan[1], m_folder);
  screen.Command(kWatch);
  EXPECT_THAT(screen.AwaitText("quit"),
              ElementsAre(kTop, "  UUID ADDRESS STATUS SEEN EXPIRES", "",
                          "  No other device is here. Listening for search targets that begin with",
                          "    urn:example-org:device:Peer:1",
                          "  Try s, which searches again; another --domain, --device-type or",
                          "  --device-version; \"ssdp-peer doctor\" here and on the other host.",
                          "", std::string("0 ") + kKeys));

  peer.Send(Alive("lamp", "on"), "239.255.255.250");
  EXPECT_THAT(Timeless(screen.AwaitText("+ lamp")),
              ElementsAre(kTop, "  UUID ADDRESS   STATUS SEEN EXPIRES", "+ lamp 10.77.0.3 on .. ..",
                          "", std::string("1 ") + kKeys));
  AwaitCalm(screen, "lamp 10.77.0.3 on ");

  peer.Send(Alive("lamp", "off"), "239.255.255.250");
  EXPECT_THAT(Timeless(screen.AwaitText("~ lamp")), Contains("~ lamp 10.77.0.3 off .. .."));

  peer.Send(Byebye("lamp", "off"), "239.255.255.250");
  const auto leaving = screen.AwaitText("- lamp");
  EXPECT_THAT(leaving, Contains(HasSubstr("    left")));
  EXPECT_THAT(leaving, Contains(std::string("0 ") + kKeys));
  screen.AwaitText("No other device is here.");
}

TEST_F(ToolTest, TheLiveTableScrollsSortsAndFiltersByKeys) {
  support::Socket peer = m_lan[3].OpenSocket();
  Screen screen(m_lan[1], m_folder);
  screen.Command(kWatch);
  screen.AwaitText("quit");
  for (int i = 100; i < 400; ++i) {
    peer.Send(Alive("lamp-" + std::to_string(i), "on"), "239.255.255.250");
    if (i % 50 == 0) screen.AwaitText("lamp-100");  // as many as its buffer surely holds
  }
  screen.AwaitText("300 here, 292 more rows");
  screen.Press("End");
  screen.AwaitText("lamp-399");
  screen.Press("PageUp");
  screen.AwaitText("300 here, 284 above, 8 more rows");
  screen.Press("Home");
  screen.Press("Down");
  screen.AwaitText("300 here, 1 above, 291 more rows");
  screen.Press("o");
  screen.AwaitText("ADDRESS^");
  screen.Press("/");
  screen.Press("p-25");
  screen.AwaitText("filter: p-25_");
  screen.Press("Enter");
  screen.AwaitText("300 here, 10 with \"p-25\", 2 more rows");
  screen.Press("Escape");
  screen.AwaitText("300 here, 292 more rows");
}

TEST_F(ToolTest, AMessageBelowTheLiveTableGoes) {
  Screen screen(m_lan[1], m_folder);
  screen.Command(kWatch);
  screen.AwaitText("quit");
  screen.Press("a");
  screen.AwaitText("announced");
  screen.Await("no message", [](const auto& lines) { return !Contain(lines, "announced"); });
}

TEST_F(ToolTest, TheLiveTableHasColoursUnlessTheyAreRefused) {
  support::Socket peer = m_lan[3].OpenSocket();
  Screen screen(m_lan[1], m_folder);
  for (const bool color : {true, false}) {
    screen.Command(color ? kWatch : "NO_COLOR=1 " + kWatch);
    screen.AwaitText("quit");
    peer.Send(Alive("lamp", "on"), "239.255.255.250");
    screen.AwaitText("lamp");
    const auto lines = screen.Capture(true);
    const bool green = testing::Value(lines, Contains(HasSubstr("\x1b[32m")));
    EXPECT_EQ(green, color);
    screen.Press("q");
    screen.AwaitEnd("$");
  }
}

TEST_F(ToolTest, TheKeysSearchAnnounceAndQuit) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch + "; echo status $?");
  screen.AwaitText("quit");
  support::Socket wire = m_lan[2].OpenGroupSocket();
  screen.Press("s");
  EXPECT_THAT(wire.Receive().text, StartsWith("M-SEARCH * HTTP/1.1\r\n"));
  screen.AwaitText("searched");
  screen.Press("a");
  EXPECT_THAT(wire.Receive().text, HasSubstr("\r\nNTS: ssdp:alive\r\n"));
  screen.AwaitText("announced");
  screen.Press("q");
  EXPECT_THAT(wire.Receive().text, HasSubstr("\r\nNTS: ssdp:byebye\r\n"));
  // The terminal is as before, with what stood on it, and shows what is typed.
  EXPECT_THAT(screen.AwaitEnd("$"), ElementsAre("status 0", "$"));
  screen.Command("echo typed");
  EXPECT_THAT(screen.Await("an echo", [](const auto& lines) { return lines.size() == 4; }),
              ElementsAre("status 0", "$ echo typed", "typed", "$"));
}

TEST_F(ToolTest, CtrlCEndsTheLiveTableWithAGoodbye) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch + "; echo status $?");
  screen.AwaitText("quit");
  support::Socket wire = m_lan[2].OpenGroupSocket();
  screen.Press("C-c");
  EXPECT_THAT(wire.Receive().text, HasSubstr("\r\nNTS: ssdp:byebye\r\n"));
}

TEST_F(ToolTest, ThePauseGivesTheTerminalBackAndTakesItAgain) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch);
  screen.AwaitText("quit");
  screen.Press("C-z");
  const auto paused = screen.AwaitText("Stopped");
  EXPECT_THAT(paused, Not(Contains(HasSubstr(" q quit"))));
  screen.Command("fg");
  EXPECT_EQ(screen.AwaitText("q quit").at(0), kTop);
  screen.Press("q");
  screen.AwaitEnd("$");
}

TEST_F(ToolTest, CtrlSDoesNotStopTheLiveTable) {
  support::Socket peer = m_lan[3].OpenSocket();
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch + "; stty -a | grep -ow -e -*ixon");
  screen.AwaitText("quit");
  screen.Press("C-s");
  peer.Send(Alive("lamp", "on"), "239.255.255.250");
  screen.AwaitText("+ lamp");
  screen.Press("q");
  EXPECT_THAT(screen.AwaitEnd("$"), ElementsAre("ixon", "$"));  // as it was before
}

TEST_F(ToolTest, ALiveTableInTheBackgroundStopsAndPaintsNothing) {
  Screen screen(m_lan[1], m_folder);
  const std::string record = m_folder / "record";
  screen.Record(record);
  screen.Command("set -b; clear; " + kWatch + " &");
  screen.AwaitText("Stopped");
  screen.Command("clear; fg");
  screen.AwaitText("q quit");
  screen.Press("C-z");
  screen.AwaitText("Stopped");
  screen.Command("clear; echo again; bg");
  screen.Await("a second stop", [](const Screen::Lines& lines) {
    return Contain(lines, "Stopped") && lines[0] == "again";
  });
  // It can be ended where it is.
  support::Socket wire = m_lan[2].OpenGroupSocket();
  screen.Command("clear; kill %1");
  screen.AwaitText("Done");
  EXPECT_THAT(wire.Receive().text, HasSubstr("\r\nNTS: ssdp:byebye\r\n"));
  screen.Command("echo the e''nd");
  screen.Await("the end of the record", [&](const Screen::Lines&) {
    return ReadFile(record).find("the end") != std::string::npos;
  });
  EXPECT_EQ(Count(ReadFile(record), "\x1b[?1049h"), 1) << "on the screen by fg alone";
  EXPECT_EQ(Count(ReadFile(record), "\x1b[?1049l"), 1) << "off the screen by Ctrl-Z alone";
}

TEST_F(ToolTest, TheLiveTableNeedsNeitherInputNorATerminalOfItsOwn) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch + " </dev/null");
  screen.AwaitText("q quit");
  screen.Press("C-c");
  screen.AwaitEnd("$");
  screen.Command("clear; setsid -w " + kWatch);
  screen.AwaitText("q quit");
  screen.Press("q");
  screen.AwaitEnd("$");
}

TEST_F(ToolTest, CtrlZSuspendsWhateverHasNoScreen) {
  for (const std::string arguments : {"search --wait 600", "announce", "watch | cat"}) {
    Screen screen(m_lan[1], m_folder);
    screen.Command("clear; '" SSDP_PEER "' " + arguments);
    screen.AwaitText(arguments[0] == 's' ? "found" : "started");
    screen.Press("C-z");
    screen.AwaitText("Stopped");
  }
}

TEST_F(ToolTest, TheLiveTableFollowsTheSizeOfTheTerminal) {
  support::Socket peer = m_lan[3].OpenSocket();
  Screen screen(m_lan[1], m_folder);
  screen.Command(kWatch);
  screen.AwaitText("quit");
  for (char letter = 'a'; letter < 'k'; ++letter)
    peer.Send(Alive(std::string("lamp-") + letter, "on"), "239.255.255.250");
  screen.AwaitText("10 here");
  screen.Resize(40, 6);
  EXPECT_THAT(Timeless(screen.AwaitText("more rows")),
              ElementsAre("urn:example-org:device:Peer:1", "  UUID   ADDRESS   STATUS SEEN EXPIRES",
                          StartsWith("+ lamp-a 10.77.0.3 on"), StartsWith("+ lamp-b 10.77.0.3 on"),
                          "", "10 here, 8 more rows   q quit  s search"));
}

TEST_F(ToolTest, AFailureStandsBelowTheTableAndDoesNotTearIt) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; " + kWatch + "; echo status $?");
  screen.AwaitText("quit");
  Shell(1, "ip route del 239.0.0.0/8");
  screen.Press("a");
  const auto lines = screen.AwaitText("could not");
  EXPECT_EQ(lines.front(), "no route  me  up  urn:example-org:device:Peer:1");
  EXPECT_EQ(lines[lines.size() - 2],
            "ssdp-peer: the announcement could not be sent: Network is unreachable; \"ssdp-...");
  EXPECT_EQ(lines.back(), std::string("0 ") + kKeys);
  screen.Press("aa");
  // No byebye is possible either: it ends all the same, and says what went wrong, not a dozen
  // times.
  screen.Press("q");
  EXPECT_THAT(
      screen.AwaitEnd("$"),
      ElementsAre(
          "ssdp-peer: the announcement could not be sent: Network is unreachable; \"ssdp-pee",
          "r doctor\" says more (3 times)",
          "ssdp-peer: the byebye could not be sent: Network is unreachable; \"ssdp-peer doct",
          "or\" says more",
          MatchesRegex("ssdp-peer: [0-9]+ failure lines of the library are hidden; --verbose shows "
                       "them"),
          "status 3", "$"));
}

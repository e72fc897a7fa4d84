// SPDX-License-Identifier: MIT
#include <signal.h>

#include "screen.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST_F(ToolTest, AnAnnouncedDeviceIsSeenAndSaysGoodbyeAtEverySignal) {
  const Program watch = StartWatch(1);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    const std::string uuid = "lamp-" + std::to_string(signal);
    // What a background run of the tests has ignored would stay so.
    const Program lamp = m_lan[2].Start({"/usr/bin/env", "--default-signal=HUP,INT,QUIT", SSDP_PEER,
                                         "announce", "--uuid", uuid, "--status", "on"});
    AwaitLine(*watch, {" new 10.77.0.2 " + uuid + " on"});
    lamp->Signal(signal);
    EXPECT_EQ(lamp->Wait(), 0);
    AwaitLine(*watch, {" left 10.77.0.2 " + uuid});
  }
}

// As nohup and a shell without job control want it.
TEST_F(ToolTest, ASignalThatWasIgnoredAtTheStartStaysIgnored) {
  const Program watch = StartWatch(1);
  const auto lamp = m_lan[2].Start(
      {"/bin/sh", "-c", "trap '' HUP INT QUIT; exec \"$0\" announce --uuid lamp", SSDP_PEER});
  AwaitLine(*watch, {" new 10.77.0.2 lamp up"});
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT}) lamp->Signal(signal);
  lamp->Tell("still up");
  AwaitLine(*watch, {" changed 10.77.0.2 lamp still up"});
  lamp->Signal(SIGTERM);
  EXPECT_EQ(lamp->Wait(), 0);
  AwaitLine(*watch, {" left 10.77.0.2 lamp"});
}

TEST_F(ToolTest, EachLineOfInputIsTheNewStatus) {
  const Program watch = StartWatch(1);
  const Program lamp = StartLamp(2, "lamp");
  AwaitLine(*watch, {" new 10.77.0.2 lamp on"});
  for (const std::string status : {"off", "warm, 21 C", "0.07"}) {
    lamp->Tell(status);
    AwaitLine(*watch, {" changed 10.77.0.2 lamp " + status});
  }
}

TEST_F(ToolTest, ALineThatCantBeAStatusIsRefusedAndTheDeviceStays) {
  const Program watch = StartWatch(1);
  const std::string errors = m_folder / "errors";
  const Program lamp = Start(2, {"announce", "--uuid", "lamp"}, errors);
  AwaitLine(*watch, {" new 10.77.0.2 lamp up"});
  lamp->Tell(std::string(5000, 'x'));
  lamp->Tell("a\rb");
  lamp->Tell("off");
  AwaitLine(*watch, {" changed 10.77.0.2 lamp off"});
  EXPECT_THAT(ReadFile(errors), HasSubstr("input refused: --status: the announcement would be "));
  EXPECT_THAT(ReadFile(errors), HasSubstr("input refused: --status: must not contain a line end"));
  lamp->Signal(SIGTERM);
  EXPECT_EQ(lamp->Wait(), 0);
}

TEST_F(ToolTest, TheEndOfTheInputEndsNothingAndItsLastLineCounts) {
  const Program watch = StartWatch(1);
  const auto lamp = m_lan[2].Start(
      {"/bin/sh", "-c", "printf 'on\\nlast words' | exec \"$0\" announce --uuid lamp --every 1",
       SSDP_PEER});
  AwaitLine(*watch, {" changed 10.77.0.2 lamp last words"});
  // It is still there, and announces itself.
  EXPECT_EQ(Run(3, {"search", "--mx", "1", "--wait", "4"}).status, 0);
}

TEST_F(ToolTest, AnnouncementsComeOftenEnough) {
  const Program watch = StartWatch(1, {"--verbose"});
  const Program lamp = StartLamp(2, "lamp", {"--notify-timeout", "3"});
  AwaitLine(*watch, {" new 10.77.0.2 lamp"});
  size_t from = watch->Lines().size();
  for (int i = 0; i < 4; ++i) {
    AwaitLine(*watch, {" heard 10.77.0.2 lamp"}, from);
    from = watch->Lines().size();
  }
}

TEST_F(ToolTest, AnnouncingTellsWhatItDoesInJsonToo) {
  const Program lamp = Start(2, {"announce", "--uuid", "lamp", "--json", "--verbose"});
  AwaitLine(*lamp, {"\"announced\""});
  lamp->Tell("\xff off");
  AwaitLine(*lamp, {"off"});
  Run(1, {"search", "--wait", "1"});
  AwaitLine(*lamp, {"searched"});
  EXPECT_THAT(ReadJson(lamp->Lines(), "o['event'], ascii(o.get('status')), o.get('target')"),
              ElementsAre("started 'up' urn:example-org:device:Peer:1", "announced 'up' None",
                          "announced '\\ufffd off' None", "searched None None"));
}

TEST_F(ToolTest, ItSaysWhatTypingDoesAndAcknowledgesIt) {
  Screen screen(m_lan[1], m_folder);
  screen.Command("clear; '" SSDP_PEER "' announce --uuid lamp");
  screen.AwaitText("Each line that you type is the new status. Ctrl-C ends.");
  screen.Command("off");
  screen.AwaitText("Z announced off");
  screen.Press("C-c");
  screen.AwaitEnd("^C$");
  // Nobody types here.
  screen.Command("clear; sleep 600 | '" SSDP_PEER "' announce --uuid lamp");
  EXPECT_THAT(screen.AwaitText("started"), Not(Contains(HasSubstr("type"))));
}

// A response to a search that was under way may arrive after the new status, with the old one.
TEST_F(ToolTest, ANewStatusIsAnnouncedOnceMoreALittleLater) {
  const Program lamp = StartLamp(2, "lamp");
  support::Socket wire = m_lan[3].OpenGroupSocket();
  lamp->Tell("off");
  auto first = wire.Receive();
  while (first.text.find("Status: off") == std::string::npos) first = wire.Receive();
  const auto second = wire.Receive();
  EXPECT_EQ(second.text, first.text);
  EXPECT_GT(second.arrived - first.arrived, std::chrono::seconds(5));  // more than an MX of 5
}

// Two that started in the same second would else draw the same delays and answer at once.
TEST_F(ToolTest, TheRandomGeneratorIsSeeded) {
  using std::chrono::milliseconds;
  std::vector<milliseconds> delays[2];
  for (auto& sequence : delays) {
    const Program lamp = StartLamp(2, "lamp");
    support::Socket searcher = m_lan[1].OpenSocket();
    for (int i = 0; i < 6; ++i) {
      searcher.Send(
          "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\n"
          "ST: urn:example-org:device:Peer:1\r\nUSER-AGENT: \r\n\r\n",
          "239.255.255.250");
      const auto start = std::chrono::steady_clock::now();
      searcher.Receive();
      sequence.push_back(
          std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start));
    }
  }
  // A fixed seed would repeat all of them, but for what the machine takes.
  bool differ = false;
  for (size_t i = 0; i < delays[0].size(); ++i)
    differ = differ || std::abs((delays[0][i] - delays[1][i]).count()) > 50;
  EXPECT_TRUE(differ);
}

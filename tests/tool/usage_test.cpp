// SPDX-License-Identifier: MIT
#include <signal.h>

#include "fixture.h"

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

// The three verbs that live on the network; the doctor looks into what they refuse.
const char* const kVerbs[] = {"watch", "search", "announce"};

}  // namespace

TEST_F(ToolTest, AWrongCommandLineIsToldOnStandardErrorAndStartsNothing) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  const Arguments wrong[] = {{},
                             {"dance"},
                             {"watch", "--dance"},
                             {"search", "--wait", "0"},
                             {"announce", "--every", "90"},
                             {"watch", "--status", "a\r\nb"},
                             {"watch", "--interface", "wlan7"},
                             {"watch", "--status", std::string(400, 'x')}};
  for (const auto& arguments : wrong) {
    const Result result = Run(1, arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, StartsWith("ssdp-peer: "));
  }
  EXPECT_THAT(wire.Drain(), IsEmpty());
}

TEST_F(ToolTest, AWrongValueIsToldWithItsOption) {
  for (const auto& verb : kVerbs) {
    EXPECT_THAT(Run(1, {verb, "--status", "a\r\nb"}).errors, StartsWith("ssdp-peer: --status: "));
    EXPECT_THAT(Run(1, {verb, "--interface", "wlan7"}).errors,
                StartsWith("ssdp-peer: --expect-interface: no interface \"wlan7\"; there are lo"));
    EXPECT_THAT(Run(1, {verb, "--server", std::string(400, 'x')}).errors,
                StartsWith("ssdp-peer: --server: the search response would be "));
  }
}

TEST_F(ToolTest, HelpAndVersionAreOutputAndSucceed) {
  const Result help = Run(1, {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.output.at(0), "Usage: ssdp-peer VERB [OPTION]...");
  EXPECT_EQ(help.errors, "");
  const Result version = Run(1, {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.output, testing::ElementsAre(HasSubstr("ssdp-peer 1.")));
}

TEST_F(ToolTest, WithoutANetworkEveryVerbEndsWithThree) {
  Shell(1, "ip route del 239.0.0.0/8");
  for (const auto& verb : kVerbs) {
    const Result result = Run(1, {verb});
    EXPECT_EQ(result.status, 3) << verb;
    EXPECT_THAT(result.output, IsEmpty()) << verb;
    EXPECT_THAT(result.errors, HasSubstr("doctor")) << verb;
  }
}

class WalledTest : public ToolTest {
 protected:
  // Nothing that is sent to the group leaves the first host.
  void SetUp() override {
    Shell(1,
          "nft add table ip wall; "
          "nft add chain ip wall out '{ type filter hook output priority 0; }'; "
          "nft add rule ip wall out ip daddr 239.255.255.250 drop");
  }
};

TEST_F(WalledTest, AMessageThatCantBeSentIsToldWithTheReason) {
  for (const auto& verb : kVerbs) {
    const Result result = Run(1, {verb, "--json"});
    const std::string message = verb == std::string("search") ? "search" : "announcement";
    EXPECT_EQ(result.status, 3) << verb;
    EXPECT_THAT(result.errors,
                MatchesRegex("ssdp-peer: the " + message +
                             " could not be sent: Operation not permitted; \"ssdp-peer doctor\" "
                             "says more\n"
                             "ssdp-peer: [0-9]+ failure lines of the library are hidden; --verbose "
                             "shows them\n"))
        << verb;
  }
}

// The library prints them on standard output.
TEST_F(WalledTest, FailureLinesOfTheLibraryGoToStandardErrorWhenVerbose) {
  for (const auto& verb : kVerbs) {
    const Result result = Run(1, {verb, "--json", "--verbose"});
    EXPECT_THAT(result.output, Each(StartsWith("{"))) << verb;
    EXPECT_THAT(result.errors, HasSubstr("Network: ")) << verb;
    EXPECT_THAT(result.errors, HasSubstr("source/ssdphandler.cpp")) << verb;
    EXPECT_THAT(result.errors, Not(HasSubstr("hidden"))) << verb;
  }
}

// More of them than the pipe holds that they are counted in.
TEST_F(ToolTest, FailureLinesHoldUpNothing) {
  const Program lamp = Start(1, {"announce", "--uuid", "lamp"}, m_folder / "errors");
  AwaitLine(*lamp, {"started"});
  Shell(1, "ip route del 239.0.0.0/8");
  for (int i = 0; i < 2000; ++i) lamp->Tell(std::to_string(i));
  lamp->Tell("a\rb");
  const auto refused = [&] {
    return ReadFile(m_folder / "errors").find("input refused") != std::string::npos;
  };
  for (const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
       !refused() && std::chrono::steady_clock::now() < deadline;)
    lamp->Listen(std::chrono::milliseconds(10));
  EXPECT_TRUE(refused());
  lamp->Signal(SIGTERM);
  EXPECT_EQ(lamp->Wait(), 3);
}

TEST_F(ToolTest, OutputThatCantBeWrittenIsAFailure) {
  const auto full = m_lan[1].Start(
      {"/bin/sh", "-c", "exec \"$0\" announce >/dev/full 2>/dev/null </dev/null", SSDP_PEER});
  EXPECT_EQ(full->Wait(), 3);
}

TEST_F(ToolTest, AReaderThatGoesEndsTheWatchWithAGoodbye) {
  support::Socket wire = m_lan[2].OpenGroupSocket();
  const auto pipe = m_lan[1].Start({"/bin/bash", "-c",
                                    "\"$0\" watch --uuid me 2>&1 | head -n 1 >/dev/null; "
                                    "echo ${PIPESTATUS[0]}",
                                    SSDP_PEER});
  EXPECT_EQ(pipe->Wait(), 0);
  EXPECT_THAT(pipe->Lines(), testing::ElementsAre("0"));
  while (wire.Receive().text.find("NTS: ssdp:byebye") == std::string::npos) continue;
}

// SPDX-License-Identifier: MIT
#include "fixture.h"

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
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
                StartsWith("ssdp-peer: --interface: there is no \"wlan7\" here, but lo"));
    EXPECT_THAT(Run(1, {verb, "--server", std::string(400, 'x')}).errors,
                StartsWith("ssdp-peer: --server: the search answer would be "));
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

// The library prints its failure lines on standard output.
TEST_F(ToolTest, FailureLinesOfTheLibraryGoToStandardErrorAlone) {
  Shell(1,
        "nft add table ip wall; "
        "nft add chain ip wall out '{ type filter hook output priority 0; }'; "
        "nft add rule ip wall out ip daddr 239.255.255.250 drop");
  for (const auto& verb : kVerbs) {
    const Result result = Run(1, {verb, "--json"});
    EXPECT_EQ(result.status, 3) << verb;
    EXPECT_THAT(result.output, Each(StartsWith("{"))) << verb;
    EXPECT_THAT(result.errors, HasSubstr("Network: ")) << verb;
    EXPECT_THAT(result.errors, HasSubstr(" source/ssdphandler.cpp")) << verb;
  }
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

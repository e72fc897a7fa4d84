// SPDX-License-Identifier: MIT
#include "doctor.h"

#include <gmock/gmock.h>
#include <net/if.h>

#include <cerrno>

#include "json.h"

namespace ssdp_peer {

// So that a finding that isn't as expected is shown.
static bool operator==(const Finding& a, const Finding& b) {
  return a.severity == b.severity && a.text == b.text && a.remedy == b.remedy;
}
static void PrintTo(const Finding& finding, std::ostream* out) {
  *out << SeverityName(finding.severity) << ": " << finding.text << " -> " << finding.remedy;
}

namespace {

using testing::ElementsAre;

constexpr unsigned int kGood = IFF_UP | IFF_RUNNING | IFF_MULTICAST;
const Route kEth0 = {0, "eth0", "10.77.0.1"};

Finding Ok(const std::string& text) {
  return {Severity::kOk, text, ""};
}

// The judgement on eth0 when it is as told.
Finding JudgeEth0(unsigned int flags, const std::vector<std::string>& addresses) {
  return JudgeInterface({{"lo", IFF_UP | IFF_LOOPBACK, {"127.0.0.1"}}, {"eth0", flags, addresses}},
                        kEth0, "");
}

TEST(Doctor, AnInterfaceThatHasAllIsOk) {
  EXPECT_EQ(JudgeEth0(kGood, {"10.77.0.1", "10.77.0.9"}),
            Ok("eth0 is up, has multicast and IPv4 address 10.77.0.1 and 10.77.0.9"));
}

TEST(Doctor, EachThingAnInterfaceLacksHasItsOwnRemedy) {
  const auto severity = Severity::kProblem;
  EXPECT_EQ(JudgeEth0(0, {"10.77.0.1"}),
            (Finding{severity, "eth0 is down", "ip link set eth0 up"}));
  EXPECT_EQ(JudgeEth0(kGood, {}),
            (Finding{severity, "eth0 has no IPv4 address",
                     "give eth0 an IPv4 address, by DHCP or with ip addr add"}));
  EXPECT_EQ(
      JudgeEth0(IFF_UP | IFF_MULTICAST, {}),
      (Finding{severity, "eth0 has no carrier", "plug in the cable or join the wireless network"}));
  EXPECT_EQ(
      JudgeEth0(IFF_UP | IFF_RUNNING, {"10.77.0.1"}),
      (Finding{severity, "eth0 has multicast switched off", "ip link set eth0 multicast on"}));
}

const Interface kLoopback = {"lo", IFF_UP | IFF_LOOPBACK, {"127.0.0.1"}};
const Interface kDown = {"eth0", 0, {"10.77.0.1"}};
const Interface kReady = {"wlan0", kGood, {"10.0.0.1"}};
const Route kNoRoute = {ENETUNREACH, "", ""};
const char* const kConnect = "connect this host to a network";

TEST(Doctor, AnUnknownInterfaceIsToldWithTheKnownOnes) {
  EXPECT_EQ(JudgeInterface({kLoopback, kDown}, kEth0, "wlan\x1b"),
            (Finding{Severity::kProblem, "no interface \"wlan\\x1b\"; there are lo and eth0",
                     "name eth0 with --expect-interface"}));
  EXPECT_EQ(JudgeInterface({kLoopback, kDown, kReady}, kEth0, "eth9"),
            (Finding{Severity::kProblem, "no interface \"eth9\"; there are lo, eth0 and wlan0",
                     "name eth0 or wlan0 with --expect-interface"}));
  EXPECT_EQ(JudgeInterface({kLoopback}, kNoRoute, "eth9"),
            (Finding{Severity::kProblem, "no interface \"eth9\"; there is lo", kConnect}));
}

TEST(Doctor, WithoutRouteTheInterfaceThatIsThereIsJudged) {
  EXPECT_EQ(JudgeInterface({kLoopback, kDown}, kNoRoute, ""),
            (Finding{Severity::kProblem, "eth0 is down", "ip link set eth0 up"}));
  EXPECT_EQ(JudgeInterface({kLoopback, kDown, kReady}, kNoRoute, ""),
            Ok("wlan0 is up, has multicast and IPv4 address 10.0.0.1"));
  EXPECT_EQ(JudgeInterface({kLoopback}, kNoRoute, ""),
            (Finding{Severity::kProblem, "there is no interface but loopback", kConnect}));
}

TEST(Doctor, LoopbackReachesNoOtherHost) {
  const Route route = {0, "lo", "127.0.0.1"};
  const std::string text = "lo is loopback: only programs on this host can be found";
  EXPECT_EQ(JudgeInterface({kLoopback}, route, ""), (Finding{Severity::kWarning, text, kConnect}));
  EXPECT_EQ(JudgeInterface({kLoopback, kDown}, route, ""),
            (Finding{Severity::kWarning, text, "ip link set eth0 up"}));
  EXPECT_EQ(JudgeInterface({kLoopback, kReady}, route, ""),
            (Finding{Severity::kWarning, text, "ip route replace 239.0.0.0/8 dev wlan0"}));
  EXPECT_EQ(JudgeInterface({kLoopback, kReady}, {0, "wlan0", "10.0.0.1"}, "lo"),
            (Finding{Severity::kWarning, text, "name wlan0 with --expect-interface"}));
}

TEST(Doctor, TheRouteMustLeadToTheInterfaceAskedFor) {
  EXPECT_EQ(JudgeRoute(kEth0, "", "eth0"), Ok("multicast leaves through eth0, from 10.77.0.1"));
  EXPECT_EQ(JudgeRoute(kEth0, "eth0", "eth0"), Ok("multicast leaves through eth0, from 10.77.0.1"));
  EXPECT_EQ(JudgeRoute(kEth0, "eth1", "eth1"),
            (Finding{Severity::kProblem, "multicast leaves through eth0, not eth1",
                     "ip route replace 239.0.0.0/8 dev eth1"}));
  EXPECT_EQ(JudgeRoute(kEth0, "lo", "eth0"),
            (Finding{Severity::kProblem, "multicast leaves through eth0, not lo",
                     "name eth0 with --expect-interface"}));
  EXPECT_EQ(JudgeRoute(kNoRoute, "", "eth1"),
            (Finding{Severity::kProblem, "multicast has no route: Network is unreachable",
                     "ip route replace 239.0.0.0/8 dev eth1"}));
  EXPECT_EQ(JudgeRoute(kNoRoute, "", "").remedy, kConnect);
}

TEST(Doctor, ARouteWithoutSourceAddressIsAProblem) {
  EXPECT_EQ(JudgeRoute({0, "eth0", ""}, "", "eth0"),
            (Finding{Severity::kProblem, "multicast leaves through eth0 without a source address",
                     "give eth0 an IPv4 address of global scope"}));
}

TEST(Doctor, ARemedyNamesAnInterfaceThatIsThereAndNeverLoopback) {
  const Interface bare = {"tun0", kGood, {}};
  EXPECT_EQ(FittingInterface({kLoopback, kDown, kReady}, "eth0"), "eth0");
  EXPECT_EQ(FittingInterface({kLoopback, bare, kReady}, ""), "wlan0");
  EXPECT_EQ(FittingInterface({kLoopback, kReady}, "lo"), "wlan0");
  EXPECT_EQ(FittingInterface({kLoopback, bare, kDown}, ""), "eth0");
  EXPECT_EQ(FittingInterface({kLoopback, bare}, "eth9"), "tun0");
  EXPECT_EQ(FittingInterface({kLoopback}, "lo"), "");
}

TEST(Doctor, TheGroup) {
  EXPECT_EQ(JudgeGroup(0, "eth0").severity, Severity::kOk);
  EXPECT_EQ(
      JudgeGroup(ENODEV, "eth0"),
      (Finding{Severity::kProblem, "the group 239.255.255.250 can't be joined: No such device",
               "ip route replace 239.0.0.0/8 dev eth0"}));
  EXPECT_EQ(JudgeGroup(ENOBUFS, "eth0").remedy, "sysctl -w net.ipv4.igmp_max_memberships=64");
}

TEST(Doctor, ThePortAndWhoHoldsIt) {
  EXPECT_EQ(JudgePort(0, {}), Ok("UDP port 1900 is free"));
  EXPECT_EQ(JudgePort(0, {"a (pid 1)", "b (pid 2)"}),
            Ok("UDP port 1900 is shared with a (pid 1) and b (pid 2)"));
  EXPECT_EQ(
      JudgePort(EADDRINUSE, {"a (pid 1)"}),
      (Finding{Severity::kProblem, "UDP port 1900 is in use by a (pid 1), which doesn't share it",
               "stop that program, or have it share the port (SO_REUSEADDR)"}));
  EXPECT_EQ(JudgePort(EACCES, {}).severity, Severity::kProblem);
}

// After the remedy of the first problem the second must not follow.
const char* const kLetIn =
    "let in through this host's firewall: UDP to port 1900, and UDP from port 1900 to any port";
const char* const kLetOut =
    "let out through this host's firewall: UDP to 239.255.255.250 port 1900, and UDP from port "
    "1900 "
    "to any port";

TEST(Doctor, AFirewallIsToldFromABrokenNetwork) {
  EXPECT_EQ(JudgeSend(0, "eth0").severity, Severity::kOk);
  EXPECT_EQ(JudgeSend(EPERM, "eth0"),
            (Finding{Severity::kProblem, "a firewall on this host forbids sending to the group",
                     kLetOut}));
  EXPECT_EQ(JudgeSend(ENETUNREACH, "eth0").text,
            "sending to the group fails: Network is unreachable");
}

TEST(Doctor, ProgramsOutsideTheGroupAreDeaf) {
  const std::string remedy =
      "restart it, or let it call Uninitialize and Initialize: its network came or changed after "
      "its start";
  EXPECT_EQ(
      JudgeRunning({"a (pid 1)"}, "eth0", false),
      (Finding{Severity::kWarning, "a (pid 1) hears nothing: not in the group on eth0", remedy}));
  EXPECT_EQ(JudgeRunning({"a (pid 1)", "b (pid 2)"}, "eth0", false).text,
            "a (pid 1) and b (pid 2) hear nothing: not in the group on eth0");
  EXPECT_EQ(JudgeRunning({"a (pid 1)"}, "eth0", true).severity, Severity::kOk);
  EXPECT_EQ(JudgeRunning({}, "eth0", false).severity, Severity::kOk);
}

TEST(Doctor, ResponsesHaveFaultsOfTheirOwn) {
  EXPECT_EQ(JudgeResponses({0, true}).severity, Severity::kOk);
  EXPECT_EQ(JudgeResponses({EPERM, false}),
            (Finding{Severity::kProblem, "a firewall on this host forbids sending from port 1900",
                     kLetOut}));
  EXPECT_EQ(JudgeResponses({ENOBUFS, false}).severity, Severity::kWarning);
}

TEST(Doctor, BothFirewallRemediesNameBothRules) {
  EXPECT_EQ(JudgeEcho(Echo::kSilence).remedy, kLetIn);
  EXPECT_EQ(JudgeResponses({0, false}),
            (Finding{Severity::kProblem,
                     "what comes from port 1900, as search responses do, is dropped", kLetIn}));
}

TEST(Doctor, TheVerdictIsTheWorstFindingsFirst) {
  const Finding warning = {Severity::kWarning, "lo is slow", "cure it"};
  const Finding problem = {Severity::kProblem, "eth0 is down", "ip link set eth0 up"};
  const Finding later = {Severity::kProblem, "eth1 is down", "ip link set eth1 up"};
  EXPECT_EQ(JudgeAll({Ok("a")}),
            Ok("Discovery works as far as this host can test it; run the doctor on the other host "
               "too."));
  EXPECT_EQ(
      JudgeAll({Ok("a"), warning}),
      (Finding{Severity::kWarning,
               "Discovery works as far as this host can test it, but lo is slow.", "cure it"}));
  EXPECT_EQ(JudgeAll({warning, problem, later}),
            (Finding{Severity::kProblem, "Fix this first: eth0 is down.", "ip link set eth0 up"}));
}

TEST(Doctor, OurOwnAnnouncement) {
  EXPECT_EQ(JudgeEcho(Echo::kHeard).severity, Severity::kOk);
  for (const Echo echo : {Echo::kSilence, Echo::kNotSent, Echo::kNotStarted}) {
    EXPECT_EQ(JudgeEcho(echo).severity, Severity::kProblem);
    EXPECT_NE(JudgeEcho(echo).remedy, "");
  }
}

TEST(Doctor, ASmallReceiveBufferIsAWarning) {
  EXPECT_EQ(JudgeBuffer(212992), Ok("a socket holds 212992 bytes, some 166 messages at once"));
  EXPECT_EQ(JudgeBuffer(64000).severity, Severity::kOk);
  EXPECT_EQ(JudgeBuffer(63999).severity, Severity::kWarning);
}

TEST(Doctor, TheSettingsAndTheBytesLeft) {
  Options options;  // target 29, notify time-out 2 digits, MX 1 digit
  options.uuid = "lamp";
  options.status = "on";
  options.server = "server";
  options.user_agent = "agent";
  EXPECT_THAT(JudgeSettings(options),
              ElementsAre(Ok("the announcement is 188 of 512 bytes long, 324 left"),
                          Ok("the search response is 195 of 512 bytes long, 317 left"),
                          Ok("the search is 134 of 512 bytes long, 378 left")));
  options.server = std::string(324, 'x');
  EXPECT_EQ(JudgeSettings(options)[1],
            (Finding{Severity::kProblem,
                     "the search response is 513 of 512 bytes long, 1 too many: its end is cut off",
                     "shorten --server"}));
}

TEST(Json, HasOneLineOfAsciiWhateverThePeerSays) {
  Peer peer;
  peer.uuid = "lamp\"}\n{\"event\":\"forged\"";
  peer.status =
      "\x1b[2J \\ K\xc3\xbc"
      "che \xff \x7f";
  peer.address = "10.77.0.2";
  peer.expiry = 60;
  EXPECT_EQ(JsonPeer("new", peer, 0),
            R"({"event":"new","time":"1970-01-01T00:00:00Z",)"
            R"("uuid":"lamp\"}\n{\"event\":\"forged\"","address":"10.77.0.2",)"
            R"("status":"\u001b[2J \\ K\u00fcche \ufffd \u007f",)"
            R"("seen":"1970-01-01T00:00:00Z","expires":"1970-01-01T00:01:00Z"})");
}

}  // namespace
}  // namespace ssdp_peer

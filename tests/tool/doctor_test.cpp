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
            Ok("eth0 is up, has multicast and IPv4 address 10.77.0.1, 10.77.0.9"));
}

TEST(Doctor, EachThingAnInterfaceLacksHasItsOwnRemedy) {
  const auto severity = Severity::kProblem;
  EXPECT_EQ(JudgeEth0(0, {"10.77.0.1"}),
            (Finding{severity, "eth0 is down", "ip link set eth0 up"}));
  EXPECT_EQ(JudgeEth0(kGood, {}),
            (Finding{severity, "eth0 has no IPv4 address", "ip addr add ADDRESS/24 dev eth0"}));
  EXPECT_EQ(
      JudgeEth0(IFF_UP | IFF_MULTICAST, {"10.77.0.1"}),
      (Finding{severity, "eth0 has no carrier", "plug in the cable or join the wireless network"}));
  EXPECT_EQ(
      JudgeEth0(IFF_UP | IFF_RUNNING, {"10.77.0.1"}),
      (Finding{severity, "eth0 has multicast switched off", "ip link set eth0 multicast on"}));
}

TEST(Doctor, AnInterfaceThatIsNotThereIsAProblem) {
  const std::vector<Interface> interfaces = {{"lo", IFF_UP, {}}, {"eth0", kGood, {}}};
  EXPECT_EQ(JudgeInterface(interfaces, kEth0, "wlan\x1b"),
            (Finding{Severity::kProblem, "there is no interface wlan\\x1b",
                     "name one that exists with --interface: lo, eth0"}));
  EXPECT_EQ(JudgeInterface(interfaces, {ENETUNREACH, "", ""}, "").severity, Severity::kProblem);
}

TEST(Doctor, LoopbackReachesNobodyElse) {
  EXPECT_EQ(
      JudgeInterface({{"lo", IFF_UP | IFF_LOOPBACK, {"127.0.0.1"}}}, {0, "lo", ""}, "").severity,
      Severity::kWarning);
}

TEST(Doctor, TheRouteMustLeadToTheInterfaceAskedFor) {
  EXPECT_EQ(JudgeRoute(kEth0, "", "eth0"), Ok("multicast leaves through eth0, from 10.77.0.1"));
  EXPECT_EQ(JudgeRoute(kEth0, "eth0", "eth0"), Ok("multicast leaves through eth0, from 10.77.0.1"));
  EXPECT_EQ(JudgeRoute(kEth0, "eth1", "eth1"),
            (Finding{Severity::kProblem, "multicast leaves through eth0, not eth1",
                     "ip route replace 239.0.0.0/8 dev eth1"}));
  EXPECT_EQ(JudgeRoute({ENETUNREACH, "", ""}, "", "eth1"),
            (Finding{Severity::kProblem, "multicast has no way out: Network is unreachable",
                     "ip route replace 239.0.0.0/8 dev eth1"}));
}

TEST(Doctor, ARemedyNamesAnInterfaceThatIsThere) {
  const std::vector<Interface> interfaces = {{"lo", IFF_UP | IFF_LOOPBACK, {"127.0.0.1"}},
                                             {"tun0", kGood, {}},
                                             {"wlan0", kGood, {"10.0.0.1"}}};
  EXPECT_EQ(FittingInterface(interfaces, "eth1"), "eth1");
  EXPECT_EQ(FittingInterface(interfaces, ""), "wlan0");
  EXPECT_EQ(FittingInterface({}, ""), "INTERFACE");
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
            Ok("UDP port 1900 is shared with a (pid 1), b (pid 2)"));
  EXPECT_EQ(
      JudgePort(EADDRINUSE, {"a (pid 1)"}),
      (Finding{Severity::kProblem, "UDP port 1900 is taken by a (pid 1), which doesn't share it",
               "stop that program, or have it share the port (SO_REUSEADDR)"}));
  EXPECT_EQ(JudgePort(EACCES, {}).severity, Severity::kProblem);
}

TEST(Doctor, AFirewallIsToldFromABrokenNetwork) {
  EXPECT_EQ(JudgeSend(0, "eth0").severity, Severity::kOk);
  EXPECT_EQ(JudgeSend(EPERM, "eth0"),
            (Finding{Severity::kProblem, "a firewall on this machine forbids sending to the group",
                     "let UDP to 239.255.255.250 port 1900 out"}));
  EXPECT_EQ(JudgeSend(ENETUNREACH, "eth0").text,
            "sending to the group fails: Network is unreachable");
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
                          Ok("the search answer is 195 of 512 bytes long, 317 left"),
                          Ok("the search is 134 of 512 bytes long, 378 left")));
  options.server = std::string(324, 'x');
  EXPECT_EQ(JudgeSettings(options)[1],
            (Finding{Severity::kProblem,
                     "the search answer is 513 of 512 bytes long, 1 too many: its end is cut off",
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

// SPDX-License-Identifier: MIT
#include <netinet/in.h>
#include <sys/socket.h>

#include "screen.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const Arguments kDoctor = {"doctor", "--uuid", "me", "--server", "s", "--user-agent", "u"};

Arguments With(Arguments arguments, const Arguments& further) {
  arguments.insert(arguments.end(), further.begin(), further.end());
  return arguments;
}

}  // namespace

TEST_F(ToolTest, TheDoctorFindsNothingWhereAllIsWell) {
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output,
              ElementsAre("ok       interface eth0 is up, has multicast and IPv4 address 10.77.0.1",
                          "ok       route     multicast leaves through eth0, from 10.77.0.1",
                          "ok       group     the group 239.255.255.250 can be joined",
                          "ok       port      UDP port 1900 is free",
                          "ok       send      the system lets datagrams to the group leave",
                          "ok       echo      our own announcement came back",
                          testing::StartsWith("ok       buffer    a socket holds "),
                          "ok       settings  the announcement is 186 of 512 bytes long, 326 left",
                          "ok       settings  the search answer is 188 of 512 bytes long, 324 left",
                          "ok       settings  the search is 130 of 512 bytes long, 382 left"));
  EXPECT_EQ(result.errors, "");
}

TEST_F(ToolTest, TheDoctorsJsonIsReadBackByAnotherParser) {
  const Result result = Run(1, With(kDoctor, {"--json", "--interface", "lo"}));
  EXPECT_EQ(result.status, 3);
  const auto lines = ReadJson(result.output, "o['check'], o['severity'], o['text'], o['remedy']");
  EXPECT_EQ(lines.size(), 10u);
  EXPECT_THAT(lines, Contains("route problem multicast leaves through eth0, not lo "
                              "ip route replace 239.0.0.0/8 dev lo"));
}

TEST_F(ToolTest, TheDoctorWarnsOfLoopback) {
  Shell(1, "ip route replace 239.0.0.0/8 dev lo src 10.77.0.1");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output.at(0),
            "warning  interface lo is loopback: only programs on this machine can be found");
}

TEST_F(ToolTest, TheDoctorNamesAnInterfaceThatIsNotThereOrDown) {
  EXPECT_THAT(Run(1, With(kDoctor, {"--interface", "wlan7"})).output,
              Contains("problem  interface there is no interface wlan7"));
  Shell(1, "ip link set eth0 down");
  const Result result = Run(1, With(kDoctor, {"--interface", "eth0"}));
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output.at(0), "problem  interface eth0 is down");
  EXPECT_EQ(result.output.at(1), "                   -> ip link set eth0 up");
}

TEST_F(ToolTest, TheDoctorsRouteRemedyCures) {
  Shell(1, "ip route del 239.0.0.0/8");
  const Result sick = Run(1, With(kDoctor, {"--interface", "eth0"}));
  EXPECT_EQ(sick.status, 3);
  EXPECT_THAT(sick.output, Contains("problem  route     multicast has no way out: "
                                    "Network is unreachable"));
  const std::string remedy = "ip route replace 239.0.0.0/8 dev eth0";
  EXPECT_THAT(sick.output, Contains(HasSubstr("-> " + remedy)));
  Shell(1, remedy);
  EXPECT_EQ(Run(1, With(kDoctor, {"--interface", "eth0"})).status, 0);
}

TEST_F(ToolTest, TheDoctorNamesWhoSharesThePort) {
  const Program lamp = StartLamp(1, "lamp");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output,
              Contains(testing::MatchesRegex("ok       port      UDP port 1900 is shared with "
                                             "ssdp-peer \\(pid [0-9]+\\)")));
}

TEST_F(ToolTest, TheDoctorNamesWhoHoldsThePortForItself) {
  const auto holder =
      m_lan[1].Start({PYTHON, "-uc",
                      "import socket, time\ns = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
                      "s.bind(('', 1900))\nprint('bound')\ntime.sleep(600)"});
  holder->Await("bound");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output,
              Contains(testing::MatchesRegex("problem  port      UDP port 1900 is taken by "
                                             "python3[.0-9]* \\(pid [0-9]+\\), which doesn't "
                                             "share it")));
  // The verbs that need the port say so and end.
  const Result watch = Run(1, {"watch"});
  EXPECT_EQ(watch.status, 3);
  EXPECT_THAT(watch.errors, HasSubstr("UDP port 1900 can't be had: Address already in use"));
}

// Has the port at the address that it is given, and IPv4's with it where that is "::".
const char* const kBindIPv6 =
    "import socket, sys, time\n"
    "s = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)\n"
    "s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)\n"
    "s.bind((sys.argv[1], 1900))\n"
    "print('bound')\n"
    "time.sleep(600)";

TEST_F(ToolTest, TheDoctorNamesAnIPv6SocketThatHoldsThePort) {
  if (ReadFile("/proc/net/if_inet6").empty()) GTEST_SKIP() << "this system has no IPv6";
  const auto holder = m_lan[1].Start({PYTHON, "-uc", kBindIPv6, "::"});
  holder->Await("bound");
  EXPECT_THAT(Run(1, kDoctor).output,
              Contains(testing::MatchesRegex("problem  port      UDP port 1900 is taken by "
                                             "python3[.0-9]* \\(pid [0-9]+\\), which doesn't "
                                             "share it")));
}

TEST_F(ToolTest, TheDoctorLetsAnIPv6AddressesPortAlone) {
  if (ReadFile("/proc/net/if_inet6").empty()) GTEST_SKIP() << "this system has no IPv6";
  const auto neighbour = m_lan[1].Start({PYTHON, "-uc", kBindIPv6, "::1"});
  neighbour->Await("bound");
  EXPECT_THAT(Run(1, kDoctor).output, Contains("ok       port      UDP port 1900 is free"));
}

TEST_F(ToolTest, TheDoctorKnowsAFirewallByItsRefusal) {
  Shell(1,
        "nft add table ip wall; "
        "nft add chain ip wall out '{ type filter hook output priority 0; }'; "
        "nft add rule ip wall out ip daddr 239.255.255.250 drop");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(
      result.output,
      Contains("problem  send      a firewall on this machine forbids sending to the group"));
}

TEST_F(ToolTest, TheDoctorMissesItsOwnAnnouncementBehindAFirewall) {
  Shell(1,
        "nft add table ip wall; "
        "nft add chain ip wall in '{ type filter hook input priority 0; }'; "
        "nft add rule ip wall in udp dport 1900 drop");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output, Contains("problem  echo      our own announcement didn't come back"));
}

TEST_F(ToolTest, TheDoctorMeasuresTheSettings) {
  const Result result = Run(1, With(kDoctor, {"--status", std::string(400, 'x')}));
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output, Contains("problem  settings  the announcement is 584 of 512 bytes "
                                      "long, 72 too many: its end is cut off"));
  EXPECT_THAT(result.output, Contains("                   -> shorten --status"));
}

TEST_F(ToolTest, TheDoctorsLinesHaveColoursOnATerminal) {
  Screen screen(m_lan[1], m_folder);
  screen.Resize(100, 20);
  screen.Command("clear; '" SSDP_PEER "' doctor; echo status $?");
  screen.AwaitText("status 0");
  EXPECT_THAT(screen.Capture(true), Contains(HasSubstr("\x1b[32mok")));
}

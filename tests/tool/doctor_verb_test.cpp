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

// Firewalls for Shell. The usual one lets in loopback and what belongs to connections, nothing
// else.
const std::string kWall = "nft add table ip wall; ";
const std::string kUsualWall =
    kWall +
    "nft add chain ip wall in '{ type filter hook input priority 0; policy drop; }'; "
    "nft add rule ip wall in iif lo accept; "
    "nft add rule ip wall in ct state established,related accept; ";
const std::string kRequestsIn = "nft add rule ip wall in udp dport 1900 accept; ";
const std::string kResponsesIn = "nft add rule ip wall in udp sport 1900 accept; ";
const char* const kLetIn =
    "let in through this host's firewall: UDP to port 1900, and UDP from port 1900 to any port";
const char* const kLetOut =
    "let out through this host's firewall: UDP to 239.255.255.250 port 1900, and UDP from port "
    "1900 "
    "to any port";

// What the doctor says is to be done.
Arguments Remedies(const Result& result) {
  const std::string arrow = "                   -> ";
  Arguments remedies;
  for (const auto& line : result.output)
    if (line.rfind(arrow, 0) == 0) remedies.push_back(line.substr(arrow.size()));
  return remedies;
}

}  // namespace

TEST_F(ToolTest, TheDoctorFindsNothingWhereAllIsWell) {
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(
      result.output,
      ElementsAre("ok       interface eth0 is up, has multicast and IPv4 address 10.77.0.1",
                  "ok       route     multicast leaves through eth0, from 10.77.0.1",
                  "ok       group     the group 239.255.255.250 can be joined",
                  "ok       port      UDP port 1900 is free",
                  "ok       running   no program with UDP port 1900 is deaf to the group",
                  testing::StartsWith("ok       buffer    a socket holds "),
                  "ok       settings  the announcement is 186 of 512 bytes long, 326 left",
                  "ok       settings  the search response is 188 of 512 bytes long, 324 left",
                  "ok       settings  the search is 130 of 512 bytes long, 382 left",
                  "ok       send      the system lets datagrams to the group leave",
                  "ok       echo      our own announcement came back",
                  "ok       responses what comes from port 1900, as search responses do, comes in",
                  "Discovery works as far as this host can test it; run the doctor on the other "
                  "host too."));
  EXPECT_EQ(result.errors, "");
}

TEST_F(ToolTest, TheDoctorsJsonIsReadBackByAnotherParser) {
  const Result result = Run(1, With(kDoctor, {"--json", "--interface", "lo"}));
  EXPECT_EQ(result.status, 3);
  const auto lines = ReadJson(result.output, "o['check'], o['severity'], o['text'], o['remedy']");
  EXPECT_EQ(lines.size(), 13U);
  EXPECT_THAT(lines, Contains("route problem multicast leaves through eth0, not lo "
                              "name eth0 with --expect-interface"));
  EXPECT_THAT(lines, Contains("echo skipped not tested: fix the problems above first "));
  EXPECT_EQ(lines.back(),
            "verdict problem Fix this first: multicast leaves through eth0, not lo. "
            "name eth0 with --expect-interface");
}

TEST_F(ToolTest, TheDoctorWarnsOfLoopback) {
  Shell(1, "ip route replace 239.0.0.0/8 dev lo src 10.77.0.1");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output.at(0),
            "warning  interface lo is loopback: only programs on this host can be found");
  EXPECT_EQ(result.output.at(1), "                   -> ip route replace 239.0.0.0/8 dev eth0");
  EXPECT_EQ(result.output.back(),
            "Discovery works as far as this host can test it, but lo is loopback: only programs on "
            "this host can be found.");
}

TEST_F(ToolTest, TheDoctorNamesAnInterfaceThatIsNotThere) {
  const Result result = Run(1, With(kDoctor, {"--interface", "wlan7"}));
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output.at(0),
            "problem  interface no interface \"wlan7\"; there are lo and eth0");
  EXPECT_EQ(result.output.at(1), "                   -> name eth0 with --expect-interface");
  EXPECT_THAT(result.output,
              Contains("skipped  route     not tested: fix the problems above first"));
}

TEST_F(ToolTest, TheDoctorsRemediesBringBackAnInterfaceThatIsDown) {
  Shell(1, "ip link set eth0 down");
  const Result down = Run(1, kDoctor);
  EXPECT_EQ(down.status, 3);
  EXPECT_EQ(down.output.at(0), "problem  interface eth0 is down");
  EXPECT_EQ(Remedies(down), Arguments{"ip link set eth0 up"});
  EXPECT_EQ(down.output.back(), "Fix this first: eth0 is down.");
  // The carrier comes a moment later.
  Shell(1, Remedies(down).at(0) +
               "; n=0; until ip -o link show eth0 | grep -q 'state UP'; do n=$((n + 1)); "
               "[ $n -lt 1000 ]; sleep 0.02; done");
  const Result up = Run(1, kDoctor);
  EXPECT_EQ(Remedies(up), Arguments{"ip route replace 239.0.0.0/8 dev eth0"});
  Shell(1, Remedies(up).at(0));
  EXPECT_EQ(Run(1, kDoctor).status, 0);
}

TEST_F(ToolTest, TheDoctorBlamesAMissingAddressOnNothingElse) {
  Shell(1, "ip addr flush dev eth0; ip route replace 239.0.0.0/8 dev eth0");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output.at(0), "problem  interface eth0 has no IPv4 address");
  EXPECT_EQ(Remedies(result), Arguments{"give eth0 an IPv4 address, by DHCP or with ip addr add"});
}

TEST_F(ToolTest, TheDoctorBlamesAMissingSourceAddressOnNothingElse) {
  Shell(1,
        "ip addr flush dev eth0; ip addr add 10.77.0.1/24 scope host dev eth0; "
        "ip route replace 239.0.0.0/8 dev eth0");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output, Contains("problem  route     multicast leaves through eth0 without a "
                                      "source address"));
  EXPECT_EQ(Remedies(result), Arguments{"give eth0 an IPv4 address of global scope"});
}

TEST_F(ToolTest, TheDoctorsRouteRemedyCures) {
  Shell(1, "ip route del 239.0.0.0/8");
  const Result sick = Run(1, With(kDoctor, {"--interface", "eth0"}));
  EXPECT_EQ(sick.status, 3);
  EXPECT_THAT(sick.output, Contains("problem  route     multicast has no route: "
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
              Contains(testing::MatchesRegex("problem  port      UDP port 1900 is in use by "
                                             "python3[.0-9]* \\(pid [0-9]+\\), which doesn't "
                                             "share it")));
  EXPECT_THAT(result.output,
              Contains("skipped  echo      not tested: fix the problems above first"));
  EXPECT_EQ(Remedies(result),
            Arguments{"stop that program, or have it share the port (SO_REUSEADDR)"});
  // The verbs that need the port say so and end.
  const Result watch = Run(1, {"watch"});
  EXPECT_EQ(watch.status, 3);
  EXPECT_THAT(watch.errors,
              HasSubstr("UDP port 1900 is in use by a program that doesn't share it"));
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
              Contains(testing::MatchesRegex("problem  port      UDP port 1900 is in use by "
                                             "python3[.0-9]* \\(pid [0-9]+\\), which doesn't "
                                             "share it")));
}

TEST_F(ToolTest, TheDoctorLetsAnIPv6AddressesPortAlone) {
  if (ReadFile("/proc/net/if_inet6").empty()) GTEST_SKIP() << "this system has no IPv6";
  const auto neighbor = m_lan[1].Start({PYTHON, "-uc", kBindIPv6, "::1"});
  neighbor->Await("bound");
  EXPECT_THAT(Run(1, kDoctor).output, Contains("ok       port      UDP port 1900 is free"));
}

// A program that shares the port and joins the group if it can, as a device does at its start.
const char* const kEarlyDevice =
    "import socket, time\n"
    "s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
    "s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)\n"
    "s.bind(('', 1900))\n"
    "try:\n"
    "    s.setsockopt(0, socket.IP_ADD_MEMBERSHIP, socket.inet_aton('239.255.255.250') + "
    "bytes(4))\n"
    "    print('joined')\n"
    "except OSError:\n"
    "    print('not joined')\n"
    "time.sleep(600)";

TEST_F(ToolTest, TheDoctorNamesADeviceThatIsDeafSinceItsStart) {
  const std::string route = "ip route replace 239.0.0.0/8 dev eth0 src 10.77.0.1";
  Shell(1, "ip route del 239.0.0.0/8");
  const auto early = m_lan[1].Start({PYTHON, "-uc", kEarlyDevice});
  early->Await("not joined");
  Shell(1, route);
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output,
              Contains(testing::MatchesRegex(
                  "warning  running   python3[.0-9]* \\(pid [0-9]+\\) hears nothing: not in the "
                  "group on eth0")));
}

TEST_F(ToolTest, TheDoctorNamesADeviceThatIsDeafSinceItsInterfaceWasMadeAgain) {
  const std::string make =
      "ip link add eth1 type veth peer name cable1; ip addr add 10.78.0.1/24 dev eth1; "
      "ip link set cable1 up; ip link set eth1 up; "
      "ip route replace 239.0.0.0/8 dev eth1 src 10.78.0.1; ";
  Shell(1, make);
  const auto device = m_lan[1].Start({PYTHON, "-uc", kEarlyDevice});
  device->Await("joined");
  Shell(1, "ip link del eth1; " + make);
  EXPECT_THAT(Run(1, kDoctor).output,
              Contains(HasSubstr(" hears nothing: not in the group on eth1")));
}

TEST_F(ToolTest, TheDoctorTakesNoDeviceInTheGroupForDeaf) {
  const auto device = m_lan[1].Start({PYTHON, "-uc", kEarlyDevice});
  device->Await("joined");
  EXPECT_EQ(Run(1, kDoctor).status, 0);
}

TEST_F(ToolTest, TheDoctorKnowsAFirewallByItsRefusal) {
  Shell(1, kWall +
               "nft add chain ip wall out '{ type filter hook output priority 0; }'; "
               "nft add rule ip wall out ip daddr 239.255.255.250 drop");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output,
              Contains("problem  send      a firewall on this host forbids sending to the group"));
  EXPECT_EQ(Remedies(result), Arguments{kLetOut});
}

TEST_F(ToolTest, TheDoctorKnowsAFirewallThatForbidsResponding) {
  Shell(1, kWall +
               "nft add chain ip wall out '{ type filter hook output priority 0; }'; "
               "nft add rule ip wall out udp sport 1900 drop");
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Remedies(result), Arguments{kLetOut});
}

TEST_F(ToolTest, TheDoctorMissesItsOwnAnnouncementBehindAFirewall) {
  Shell(1, kUsualWall);
  const Result result = Run(1, kDoctor);
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output, Contains("problem  echo      our own announcement didn't come back"));
  EXPECT_THAT(result.output,
              Contains("skipped  responses not tested: fix the problems above first"));
  EXPECT_EQ(Remedies(result), Arguments{kLetIn});
}

// What the doctor says of a firewall, and what a search sees through it: a lamp on another host,
// which announces itself too seldom to be found by that.
TEST_F(ToolTest, TheDoctorMissesSearchResponsesBehindAFirewall) {
  const Program lamp = StartLamp(2, "lamp", {"--notify-timeout", "7200", "--every", "3600"});
  const Arguments search = {"search", "--mx", "1", "--wait", "3"};
  Shell(1, kUsualWall + kRequestsIn);
  const Result walled = Run(1, kDoctor);
  EXPECT_EQ(walled.status, 3);
  EXPECT_THAT(walled.output, Contains("ok       echo      our own announcement came back"));
  EXPECT_THAT(walled.output, Contains("problem  responses what comes from port 1900, as search "
                                      "responses do, is dropped"));
  EXPECT_EQ(Remedies(walled), Arguments{kLetIn});
  EXPECT_EQ(Run(1, search).status, 1);

  Shell(1, kResponsesIn);
  EXPECT_EQ(Run(1, kDoctor).status, 0);
  EXPECT_EQ(Run(1, search).status, 0);
}

TEST_F(ToolTest, TheDoctorIsNotMisledByAFirewallThatLetsTheGroupIn) {
  Shell(1, kUsualWall + "nft add rule ip wall in ip daddr 239.255.255.250 accept");
  EXPECT_THAT(Run(1, kDoctor).output, Contains(HasSubstr("problem  responses")));
}

TEST_F(ToolTest, TheDoctorsProbeStaysOnTheHost) {
  Shell(2, kWall +
               "nft add chain ip wall in '{ type filter hook prerouting priority 0; }'; "
               "nft add rule ip wall in ip daddr 224.0.0.1 udp sport 1900 counter");
  auto neighbor = m_lan[2].OpenGroupSocket();
  EXPECT_EQ(Run(1, kDoctor).status, 0);
  // The probe would have come before what is sent after it.
  Run(1, {"search", "--mx", "1", "--wait", "1"});
  while (neighbor.Receive().text.rfind("M-SEARCH", 0) != 0) continue;
  Shell(2, "nft list chain ip wall in | grep 'counter packets 0 '");
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

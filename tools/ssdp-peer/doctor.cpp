// SPDX-License-Identifier: MIT
#include "doctor.h"

#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "text.h"
#include "validation.h"

namespace ssdp_peer {

namespace {

Finding Ok(const std::string& text) {
  return {Severity::kOk, text, ""};
}

Finding Warning(const std::string& text, const std::string& remedy) {
  return {Severity::kWarning, text, remedy};
}

Finding Problem(const std::string& text, const std::string& remedy) {
  return {Severity::kProblem, text, remedy};
}

// "lo, eth0 and wlan0"
std::string Listed(const std::vector<std::string>& texts, const std::string& last_joint = " and ") {
  std::string all;
  for (size_t i = 0; i < texts.size(); ++i)
    all += (i == 0 ? "" : i + 1 == texts.size() ? last_joint : ", ") + texts[i];
  return all;
}

const char* const kConnect = "connect this host to a network";

// Both rules, whichever is missing: with the first alone no search response comes through.
const char* const kLetIn =
    "let in through this host's firewall: UDP to port 1900, and UDP from port 1900 to any port";

const char* const kLetOut =
    "let out through this host's firewall: UDP to 239.255.255.250 port 1900, and UDP from port "
    "1900 "
    "to any port";

std::string Give(const std::string& interface) {
  return "give " + interface + " an IPv4 address, by DHCP or with ip addr add";
}

std::string RouteRemedy(const std::string& interface) {
  if (interface.empty()) return kConnect;
  return "ip route replace 239.0.0.0/8 dev " + Printable(interface);
}

std::string NameRemedy(const std::string& interfaces) {
  return interfaces.empty() ? kConnect : "name " + interfaces + " with --expect-interface";
}

// What a receiver's socket is charged for one message of ours, with the kernel's own overhead.
constexpr int kBytesADatagram = 1280;

bool IsLoopback(const Interface& interface) {
  return (interface.flags & IFF_LOOPBACK) != 0;
}

const Interface* Find(const std::vector<Interface>& interfaces, const std::string& name) {
  const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                  [&](const Interface& known) { return known.name == name; });
  return found == interfaces.end() ? nullptr : &*found;
}

Finding JudgeUnknown(const std::vector<Interface>& interfaces, const std::string& asked) {
  std::vector<std::string> known;
  std::vector<std::string> others;  // that a remedy may name
  for (const auto& interface : interfaces) {
    known.push_back(Printable(interface.name));
    if (!IsLoopback(interface)) others.push_back(known.back());
  }
  return Problem("no interface \"" + Printable(asked) + "\"; there " +
                     (known.size() == 1 ? "is " : "are ") + Listed(known),
                 NameRemedy(Listed(others, " or ")));
}

Finding JudgeState(const Interface& interface) {
  const std::string shown = Printable(interface.name);
  if ((interface.flags & IFF_UP) == 0)
    return Problem(shown + " is down", "ip link set " + shown + " up");
  if ((interface.flags & IFF_RUNNING) == 0)
    return Problem(shown + " has no carrier", "plug in the cable or join the wireless network");
  if (interface.addresses.empty()) return Problem(shown + " has no IPv4 address", Give(shown));
  if ((interface.flags & IFF_MULTICAST) == 0)
    return Problem(shown + " has multicast switched off", "ip link set " + shown + " multicast on");
  return Ok(shown + " is up, has multicast and IPv4 address " + Listed(interface.addresses));
}

// How well an interface fits as the network's; 0 for loopback.
int Rank(const Interface& interface) {
  if (IsLoopback(interface)) return 0;
  if (JudgeState(interface).severity == Severity::kOk) return 3;
  return interface.addresses.empty() ? 1 : 2;
}

Finding JudgeLoopback(const std::vector<Interface>& interfaces, const std::string& loopback,
                      const std::string& asked) {
  const std::string fitting = FittingInterface(interfaces, "");
  const Interface* other = Find(interfaces, fitting);
  std::string remedy = other == nullptr ? kConnect : JudgeState(*other).remedy;
  if (remedy.empty()) remedy = asked.empty() ? RouteRemedy(fitting) : NameRemedy(fitting);
  return Warning(Printable(loopback) + " is loopback: only programs on this host can be found",
                 remedy);
}

}  // namespace

const char* SeverityName(Severity severity) {
  static const char* const kNames[] = {"ok", "skipped", "warning", "problem"};
  return kNames[static_cast<int>(severity)];
}

std::string FittingInterface(const std::vector<Interface>& interfaces, const std::string& asked) {
  const Interface* named = Find(interfaces, asked);
  if (named != nullptr && !IsLoopback(*named)) return asked;
  std::string best;
  int best_rank = 0;
  for (const auto& interface : interfaces) {
    if (Rank(interface) <= best_rank) continue;
    best = interface.name;
    best_rank = Rank(interface);
  }
  return best;
}

Finding JudgeInterface(const std::vector<Interface>& interfaces, const Route& route,
                       const std::string& asked) {
  if (!asked.empty() && Find(interfaces, asked) == nullptr) return JudgeUnknown(interfaces, asked);
  std::string name = asked.empty() ? route.interface : asked;
  if (name.empty()) name = FittingInterface(interfaces, "");
  const Interface* interface = Find(interfaces, name);
  if (interface == nullptr) return Problem("there is no interface but loopback", kConnect);
  return IsLoopback(*interface) ? JudgeLoopback(interfaces, name, asked) : JudgeState(*interface);
}

Finding JudgeRoute(const Route& route, const std::string& asked, const std::string& fitting) {
  if (route.error != 0)
    return Problem("multicast has no route: " + std::string(std::strerror(route.error)),
                   RouteRemedy(fitting));
  const std::string shown = Printable(route.interface);
  if (!asked.empty() && asked != route.interface)
    return Problem("multicast leaves through " + shown + ", not " + Printable(asked),
                   asked == fitting ? RouteRemedy(fitting) : NameRemedy(fitting));
  if (route.source.empty())
    return Problem("multicast leaves through " + shown + " without a source address",
                   "give " + shown + " an IPv4 address of global scope");
  return Ok("multicast leaves through " + shown + ", from " + route.source);
}

Finding JudgeGroup(int error, const std::string& fitting) {
  if (error == 0) return Ok("the group 239.255.255.250 can be joined");
  return Problem(
      "the group 239.255.255.250 can't be joined: " + std::string(std::strerror(error)),
      error == ENOBUFS ? "sysctl -w net.ipv4.igmp_max_memberships=64" : RouteRemedy(fitting));
}

Finding JudgePort(int error, const std::vector<std::string>& holders) {
  if (error == EADDRINUSE)
    return Problem("UDP port 1900 is in use by " +
                       (holders.empty() ? "an unknown program" : Listed(holders)) +
                       ", which doesn't share it",
                   "stop that program, or have it share the port (SO_REUSEADDR)");
  if (error != 0)
    return Problem("UDP port 1900 can't be bound: " + std::string(std::strerror(error)),
                   "run where programs may use the network");
  if (!holders.empty()) return Ok("UDP port 1900 is shared with " + Listed(holders));
  return Ok("UDP port 1900 is free");
}

// A socket hears the group where any socket of the host is a member. Where none is, no program
// hears it: each was started without a network, or the interface was made again since.
Finding JudgeRunning(const std::vector<std::string>& holders, const std::string& interface,
                     bool joined) {
  if (holders.empty() || joined) return Ok("no program with UDP port 1900 is deaf to the group");
  return Warning(Listed(holders) + (holders.size() == 1 ? " hears" : " hear") +
                     " nothing: not in the group on " + Printable(interface),
                 "restart it, or let it call Uninitialize and Initialize: its network came or "
                 "changed after its start");
}

Finding JudgeSend(int error, const std::string& fitting) {
  if (error == 0) return Ok("the system lets datagrams to the group leave");
  if (error == EPERM)
    return Problem("a firewall on this host forbids sending to the group", kLetOut);
  return Problem("sending to the group fails: " + std::string(std::strerror(error)),
                 RouteRemedy(fitting));
}

Finding JudgeEcho(Echo echo) {
  switch (echo) {
    case Echo::kHeard:
      return Ok("our own announcement came back");
    case Echo::kSilence:
      return Problem("our own announcement didn't come back", kLetIn);
    case Echo::kNotSent:
      return Problem("our own announcement could not be sent",
                     "run it with --verbose and read standard error");
    default:
      return Problem("the service could not start",
                     "run it with --verbose and read standard error");
  }
}

Finding JudgeResponses(const Probe& probe) {
  if (probe.error == EPERM)
    return Problem("a firewall on this host forbids sending from port 1900", kLetOut);
  if (probe.error != 0)
    return Warning("no response could be tried: " + std::string(std::strerror(probe.error)),
                   "search from this host for a device on another one");
  if (!probe.heard)
    return Problem("what comes from port 1900, as search responses do, is dropped", kLetIn);
  return Ok("what comes from port 1900, as search responses do, comes in");
}

Finding JudgeBuffer(int bytes) {
  const std::string text = "a socket holds " + std::to_string(bytes) + " bytes, some " +
                           std::to_string(bytes / kBytesADatagram) + " messages at once";
  if (bytes / kBytesADatagram >= 50) return Ok(text);
  return Warning(text + ": more peers than that can be missed when they answer together",
                 "sysctl -w net.core.rmem_default=212992");
}

std::vector<Finding> JudgeSettings(const Options& options) {
  std::vector<Finding> findings;
  for (const auto& message : Messages(options)) {
    const int left = kMessageLimit - message.length;
    const std::string text = "the " + message.name + " is " + std::to_string(message.length) +
                             " of " + std::to_string(kMessageLimit) + " bytes long, ";
    findings.push_back(left >= 0
                           ? Ok(text + std::to_string(left) + " left")
                           : Problem(text + std::to_string(-left) + " too many: its end is cut off",
                                     "shorten " + message.longest_part));
  }
  return findings;
}

Finding JudgeAll(const std::vector<Finding>& findings) {
  const auto worst =
      std::max_element(findings.begin(), findings.end(),
                       [](const Finding& a, const Finding& b) { return a.severity < b.severity; });
  if (worst != findings.end() && worst->severity == Severity::kProblem)
    return Problem("Fix this first: " + worst->text + ".", worst->remedy);
  const std::string good = "Discovery works as far as this host can test it";
  if (worst != findings.end() && worst->severity == Severity::kWarning)
    return Warning(good + ", but " + worst->text + ".", worst->remedy);
  return Ok(good + "; run the doctor on the other host too.");
}

}  // namespace ssdp_peer

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

std::string Joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const auto& text : texts) all += (all.empty() ? "" : ", ") + text;
  return all;
}

std::string RouteCommand(const std::string& interface) {
  return "ip route replace 239.0.0.0/8 dev " + Printable(interface);
}

// What a receiver's socket is charged for one message of ours, with the kernel's own overhead.
constexpr int kBytesADatagram = 1280;

}  // namespace

const char* SeverityName(Severity severity) {
  static const char* const kNames[] = {"ok", "warning", "problem"};
  return kNames[static_cast<int>(severity)];
}

std::string FittingInterface(const std::vector<Interface>& interfaces, const std::string& asked) {
  if (!asked.empty()) return asked;
  for (const auto& interface : interfaces)
    if ((interface.flags & IFF_LOOPBACK) == 0 && !interface.addresses.empty())
      return interface.name;
  return "INTERFACE";
}

Finding JudgeInterface(const std::vector<Interface>& interfaces, const Route& route,
                       const std::string& asked) {
  const std::string name = asked.empty() ? route.interface : asked;
  if (name.empty())
    return Problem("no interface is named, and no multicast route leads to one",
                   "name one with --interface: " + Joined(Names(interfaces)));
  const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                  [&](const Interface& known) { return known.name == name; });
  const std::string shown = Printable(name);
  if (found == interfaces.end())
    return Problem("there is no interface " + shown,
                   "name one that exists with --interface: " + Joined(Names(interfaces)));
  if ((found->flags & IFF_UP) == 0)
    return Problem(shown + " is down", "ip link set " + shown + " up");
  if (found->addresses.empty())
    return Problem(shown + " has no IPv4 address", "ip addr add ADDRESS/24 dev " + shown);
  if ((found->flags & IFF_LOOPBACK) != 0)
    return Warning(shown + " is loopback: only programs on this machine can be found",
                   "name the network's interface with --interface");
  if ((found->flags & IFF_RUNNING) == 0)
    return Problem(shown + " has no carrier", "plug in the cable or join the wireless network");
  if ((found->flags & IFF_MULTICAST) == 0)
    return Problem(shown + " has multicast switched off", "ip link set " + shown + " multicast on");
  return Ok(shown + " is up, has multicast and IPv4 address " + Joined(found->addresses));
}

Finding JudgeRoute(const Route& route, const std::string& asked, const std::string& fitting) {
  if (route.error != 0)
    return Problem("multicast has no way out: " + std::string(std::strerror(route.error)),
                   RouteCommand(fitting));
  const std::string shown = Printable(route.interface);
  if (!asked.empty() && asked != route.interface)
    return Problem("multicast leaves through " + shown + ", not " + Printable(asked),
                   RouteCommand(fitting));
  return Ok("multicast leaves through " + shown + ", from " + route.source);
}

Finding JudgeGroup(int error, const std::string& fitting) {
  if (error == 0) return Ok("the group 239.255.255.250 can be joined");
  return Problem(
      "the group 239.255.255.250 can't be joined: " + std::string(std::strerror(error)),
      error == ENOBUFS ? "sysctl -w net.ipv4.igmp_max_memberships=64" : RouteCommand(fitting));
}

Finding JudgePort(int error, const std::vector<std::string>& holders) {
  if (error == EADDRINUSE)
    return Problem("UDP port 1900 is taken by " +
                       (holders.empty() ? "a program unknown" : Joined(holders)) +
                       ", which doesn't share it",
                   "stop that program, or have it share the port (SO_REUSEADDR)");
  if (error != 0)
    return Problem("UDP port 1900 can't be had: " + std::string(std::strerror(error)),
                   "run where programs may use the network");
  if (!holders.empty()) return Ok("UDP port 1900 is shared with " + Joined(holders));
  return Ok("UDP port 1900 is free");
}

Finding JudgeSend(int error, const std::string& fitting) {
  if (error == 0) return Ok("the system lets datagrams to the group leave");
  if (error == EPERM)
    return Problem("a firewall on this machine forbids sending to the group",
                   "let UDP to 239.255.255.250 port 1900 out");
  return Problem("sending to the group fails: " + std::string(std::strerror(error)),
                 RouteCommand(fitting));
}

Finding JudgeEcho(Echo echo) {
  switch (echo) {
    case Echo::kHeard:
      return Ok("our own announcement came back");
    case Echo::kSilence:
      return Problem("our own announcement didn't come back",
                     "let UDP to port 1900 in, in this machine's firewall");
    case Echo::kNotSent:
      return Problem("our own announcement could not be sent", "mend what is said above first");
    default:
      return Problem("the service could not start", "read the lines on standard error");
  }
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

}  // namespace ssdp_peer

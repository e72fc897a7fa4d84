// SPDX-License-Identifier: MIT
#include "bench.h"

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "private_network.h"

namespace bench {

namespace {

// Scattered like real UUIDs: consecutive peers aren't neighbors in the table.
std::string Scattered(const char* format, int peer) {
  char text[64];
  std::snprintf(text, sizeof(text), format, static_cast<unsigned int>(peer) * 2654435761u);
  return text;
}

}  // namespace

void Require(bool condition, const char* failure) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", failure);
  std::exit(1);
}

void RequirePrivateNetwork() {
  const std::string reason = support::EnterPrivateNetwork();
  Require(reason.empty(), ("no private network: " + reason).c_str());
}

void KeepTo(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<size_t>(processor), &set);
  Require(sched_setaffinity(0, sizeof(set), &set) == 0, "can't keep to one processor");
}

int64_t Clock(clockid_t clock) {
  struct timespec now;
  clock_gettime(clock, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

void Configure(bool announce) {
  libSSDP::CreateSSDP(announce);
  libSSDP::SetDomainName(kDomain);
  libSSDP::SetDeviceType(kType);
  libSSDP::SetVersionInfo(kVersion);
  libSSDP::SetUserAgent("example/1");
  libSSDP::SetServerInfo("example/1");
  libSSDP::SetUUID(Uuid(0));
  libSSDP::SetStatus(kStatus);
  libSSDP::SetNotifyTimeOut(1800);
  libSSDP::SetMSearchTimeOut(3);
}

std::string Uuid(int peer) {
  return Scattered("%08x-1234-4abc-8def-0123456789ab", peer);
}

std::string UuidOfOneMaker(int peer) {
  return Scattered("4d696e69-444c-164e-9d41-0050%08x", peer);
}

std::string Notify(const std::string& target, const std::string& uuid) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=1800\r\n"
         "NTS: ssdp:alive\r\n"
         "NT: " +
         target + "\r\nUSN: uuid:" + uuid + "::" + target + "\r\nStatus: " + kStatus + "\r\n\r\n";
}

std::string SearchResponse(const std::string& target, const std::string& uuid) {
  return "HTTP/1.1 200 OK\r\n"
         "Cache-Control: max-age=1800\r\n"
         "DATE: Sun Nov 15 14:22:59 2026\n\r"
         "EXT: \r\n"
         "SERVER: example/1\r\n"
         "ST: " +
         target + "\r\nUSN: uuid:" + uuid + "::" + target + "\r\nStatus: " + kStatus + "\r\n\r\n";
}

std::string MSearch(const std::string& target) {
  return "M-SEARCH * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "MAN: \"ssdp:discover\"\r\n"
         "MX: 3\r\n"
         "ST: " +
         target + "\r\nUSER-AGENT: example/1\r\n\r\n";
}

sockaddr_in GroupAddress(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr("239.255.255.250");
  return address;
}

int OpenGroupSocket(uint16_t port) {
  const int handle = socket(AF_INET, SOCK_DGRAM, 0);
  const int reuse = 1;
  setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
  sockaddr_in address = GroupAddress(port);
  address.sin_addr.s_addr = INADDR_ANY;
  const bool bound = bind(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
  const ip_mreq group = {GroupAddress().sin_addr, {INADDR_ANY}};
  Require(bound && setsockopt(handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof(group)) == 0,
          "can't join the group");
  return handle;
}

void SendTo(int socket, const std::string& datagram, const sockaddr_in& to) {
  const ssize_t sent = sendto(socket, datagram.data(), datagram.size(), 0,
                              reinterpret_cast<const sockaddr*>(&to), sizeof(to));
  Require(sent == static_cast<ssize_t>(datagram.size()), "can't send");
}

int Flood(int socket, const std::vector<std::string>& datagrams, double rate, double seconds) {
  const sockaddr_in group = GroupAddress();
  const int64_t begin = Clock(CLOCK_MONOTONIC);
  double due = 0;  // of the next datagram, from the beginning
  for (int sent = 0;;) {
    const double passed = static_cast<double>(Clock(CLOCK_MONOTONIC) - begin) / 1e9;
    if (passed >= seconds) return sent;
    if (passed < due) continue;
    SendTo(socket, datagrams[static_cast<size_t>(sent++) % datagrams.size()], group);
    // Datagrams that a pause of over a millisecond left out stay out: catching up would be another
    // rate.
    due = std::max(due + 1 / rate, passed - 0.001);
  }
}

}  // namespace bench

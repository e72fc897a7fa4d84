// SPDX-License-Identifier: MIT
#include "network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "signals.h"

namespace ssdp_peer {

namespace {

const char* const kGroup = "239.255.255.250";
// All hosts (RFC 1112): every host is a member on every interface without joining.
const char* const kAllHosts = "224.0.0.1";
constexpr uint16_t kPort = 1900;

class Socket {
 public:
  explicit Socket(int domain, int protocol = 0)
      : m_fd(socket(domain,
                    domain == AF_NETLINK ? SOCK_RAW | SOCK_CLOEXEC : SOCK_DGRAM | SOCK_CLOEXEC,
                    protocol)) {}
  ~Socket() {
    if (m_fd >= 0) close(m_fd);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int Get() const { return m_fd; }

 private:
  int m_fd;
};

std::string AddressText(const void* address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, address, text, sizeof(text));
  return text;
}

int Error(bool succeeded) {
  return succeeded ? 0 : errno;
}

sockaddr_in Address(const char* address, uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  inet_pton(AF_INET, address, &result.sin_addr);
  return result;
}

// Port 1900 is shared as the library shares it; port 0 is one that no other socket has.
int Bind(int socket, uint16_t port) {
  const sockaddr_in address = Address("0.0.0.0", port);
  const int reuse = port == kPort ? 1 : 0;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
  return Error(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
}

int Send(int socket, const std::string& text, const sockaddr_in& to) {
  return Error(sendto(socket, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                      sizeof(to)) >= 0);
}

// A multicast datagram that doesn't leave this host: with a time to live of 0 the system only hands
// it back to itself, as a datagram that came in at the route's interface. One to an address of our
// own would come in at loopback, where firewalls let everything pass.
void KeepOnThisHost(int socket, const Route& route) {
  const unsigned char ttl = 0;
  setsockopt(socket, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof(ttl));
  ip_mreqn way = {};
  way.imr_address = Address(route.source.c_str(), 0).sin_addr;
  way.imr_ifindex = static_cast<int>(if_nametoindex(route.interface.c_str()));
  setsockopt(socket, IPPROTO_IP, IP_MULTICAST_IF, &way, sizeof(way));
}

// Whether `text` comes in before the deadline or a signal that ends the program; other datagrams
// are dropped.
bool AwaitText(int socket, const std::string& text, std::chrono::milliseconds patience) {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + patience;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    pollfd waiting = {socket, POLLIN, 0};
    if (left <= 0 || StopAsked() || poll(&waiting, 1, static_cast<int>(left)) == 0) return false;
    char received[64];
    const ssize_t size = recv(socket, received, sizeof(received), MSG_DONTWAIT);
    if (size >= 0 && text == std::string(received, static_cast<size_t>(size))) return true;
  }
}

struct RouteRequest {
  nlmsghdr head;
  rtmsg route;
  rtattr attribute;
  in_addr group;
};

Route ReadRoute(const char* reply, size_t size) {
  const auto* head = reinterpret_cast<const nlmsghdr*>(reply);
  Route result;
  if (size < sizeof(*head) || head->nlmsg_type == NLMSG_ERROR) {
    const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(head));
    result.error = size < NLMSG_LENGTH(sizeof(*error)) ? EPROTO : -error->error;
    return result;
  }
  const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(head));
  auto length = static_cast<unsigned int>(RTM_PAYLOAD(head));
  for (const rtattr* attribute = RTM_RTA(route); RTA_OK(attribute, length);
       attribute = RTA_NEXT(attribute, length)) {
    if (attribute->rta_type == RTA_PREFSRC) result.source = AddressText(RTA_DATA(attribute));
    if (attribute->rta_type != RTA_OIF) continue;
    unsigned int index;
    std::memcpy(&index, RTA_DATA(attribute), sizeof(index));
    char name[IF_NAMESIZE] = "";
    if (if_indextoname(index, name) != nullptr) result.interface = name;
  }
  return result;
}

}  // namespace

std::vector<Interface> Interfaces() {
  std::vector<Interface> result;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return result;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    const std::string name = entry->ifa_name;
    auto found = std::find_if(result.begin(), result.end(),
                              [&](const Interface& known) { return known.name == name; });
    if (found == result.end()) found = result.insert(found, {name, entry->ifa_flags, {}});
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    found->addresses.push_back(AddressText(&address->sin_addr));
  }
  freeifaddrs(list);
  return result;
}

std::vector<std::string> Names(const std::vector<Interface>& interfaces) {
  std::vector<std::string> names;
  names.reserve(interfaces.size());
  for (const auto& interface : interfaces) names.push_back(interface.name);
  return names;
}

bool IsLocalAddress(const std::string& address) {
  for (const auto& interface : Interfaces())
    for (const auto& own : interface.addresses)
      if (own == address) return true;
  return false;
}

// Asked of the kernel by rtnetlink(7): a connected socket would tell the source address alone,
// which two interfaces may share.
Route MulticastRoute() {
  RouteRequest request = {};
  request.head.nlmsg_len = sizeof(request);
  request.head.nlmsg_type = RTM_GETROUTE;
  request.head.nlmsg_flags = NLM_F_REQUEST;
  request.route.rtm_family = AF_INET;
  request.route.rtm_dst_len = 32;
  request.attribute.rta_type = RTA_DST;
  request.attribute.rta_len = RTA_LENGTH(sizeof(request.group));
  inet_pton(AF_INET, kGroup, &request.group);

  Route failed;
  const Socket netlink(AF_NETLINK, NETLINK_ROUTE);
  alignas(nlmsghdr) char reply[4096];
  ssize_t size = -1;
  if (netlink.Get() >= 0 && send(netlink.Get(), &request, sizeof(request), 0) > 0)
    size = recv(netlink.Get(), reply, sizeof(reply), 0);
  failed.error = errno;
  return size < 0 ? failed : ReadRoute(reply, static_cast<size_t>(size));
}

int TryBind() {
  const Socket socket(AF_INET);
  return Bind(socket.Get(), kPort);
}

int TryJoin() {
  const Socket socket(AF_INET);
  ip_mreq group = {};
  inet_pton(AF_INET, kGroup, &group.imr_multiaddr);
  return Error(setsockopt(socket.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof(group)) == 0);
}

int TrySend() {
  const Socket socket(AF_INET);
  if (socket.Get() < 0) return errno;
  return Send(socket.Get(), "", Address(kGroup, kPort));
}

Probe ProbeResponses(const Route& route, std::chrono::milliseconds patience) {
  const Socket receiver(AF_INET);
  const Socket sender(AF_INET);
  if (const int error = Bind(receiver.Get(), 0)) return {error};
  if (const int error = Bind(sender.Get(), kPort)) return {error};
  KeepOnThisHost(sender.Get(), route);
  sockaddr_in port = {};
  socklen_t length = sizeof(port);
  getsockname(receiver.Get(), reinterpret_cast<sockaddr*>(&port), &length);
  const std::string text = "ssdp-peer " + std::to_string(getpid());
  if (const int error = Send(sender.Get(), text, Address(kAllHosts, ntohs(port.sin_port))))
    return {error};
  return {0, AwaitText(receiver.Get(), text, patience)};
}

int ReceiveBuffer() {
  const Socket socket(AF_INET);
  int size = 0;
  socklen_t length = sizeof(size);
  getsockopt(socket.Get(), SOL_SOCKET, SO_RCVBUF, &size, &length);
  return size;
}

// proc(5), /proc/net/igmp: a line for each interface, "2 eth0 : 2 V3", and below it an indented one
// for each group, its address in hexadecimal as it lies in memory.
bool IsGroupJoined(const std::string& interface) {
  char group[9];
  std::snprintf(group, sizeof(group), "%08X", Address(kGroup, 0).sin_addr.s_addr);
  std::ifstream table("/proc/net/igmp");
  std::string current;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string first;
    fields >> first;
    if (line[0] != '\t') {
      fields >> current;  // a long name stands right before the colon
      current.resize(std::min(current.size(), current.find(':')));
    } else if (current == interface && first == group) {
      return true;
    }
  }
  return false;
}

std::string FindNetworkFault() {
  if (const int error = TryJoin())
    return std::string("the group 239.255.255.250 can't be joined: ") + std::strerror(error);
  const int error = TryBind();
  if (error == EADDRINUSE) return "UDP port 1900 is in use by a program that doesn't share it";
  if (error != 0) return std::string("UDP port 1900 can't be bound: ") + std::strerror(error);
  return "";
}

}  // namespace ssdp_peer

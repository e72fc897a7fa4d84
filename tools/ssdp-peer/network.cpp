// SPDX-License-Identifier: MIT
#include "network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ssdp_peer {

namespace {

const char* const kGroup = "239.255.255.250";
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
  const int reuse = 1;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
  return Error(bind(socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
}

int TryJoin() {
  const Socket socket(AF_INET);
  ip_mreq group = {};
  inet_pton(AF_INET, kGroup, &group.imr_multiaddr);
  return Error(setsockopt(socket.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof(group)) == 0);
}

int TrySend() {
  const Socket socket(AF_INET);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  inet_pton(AF_INET, kGroup, &address.sin_addr);
  return Error(
      sendto(socket.Get(), "", 0, 0, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0);
}

int ReceiveBuffer() {
  const Socket socket(AF_INET);
  int size = 0;
  socklen_t length = sizeof(size);
  getsockopt(socket.Get(), SOL_SOCKET, SO_RCVBUF, &size, &length);
  return size;
}

std::string FindNetworkFault() {
  if (const int error = TryJoin())
    return std::string("the group 239.255.255.250 can't be joined: ") + std::strerror(error);
  if (const int error = TryBind())
    return std::string("UDP port 1900 can't be had: ") + std::strerror(error);
  return "";
}

}  // namespace ssdp_peer

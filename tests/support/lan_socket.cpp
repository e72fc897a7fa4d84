// SPDX-License-Identifier: MIT
#include "lan_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "lan.h"

namespace support {

namespace {

void Check(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

void Enable(int fd, int option) {
  const int on = 1;
  Check(setsockopt(fd, SOL_SOCKET, option, &on, sizeof(on)) == 0, "setsockopt");
}

sockaddr_in Address(in_addr_t address, uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_addr.s_addr = address;
  result.sin_port = htons(port);
  return result;
}

}  // namespace

Socket::Socket(int network, uint16_t port, const char* group) {
  const InNetwork inside(network);
  m_fd = Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  Check(m_fd.Get() >= 0, "socket");
  Enable(m_fd.Get(), SO_REUSEADDR);
  Enable(m_fd.Get(), SO_TIMESTAMPNS);
  const sockaddr_in local = Address(INADDR_ANY, port);
  Check(bind(m_fd.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0, "bind");
  if (group == nullptr) return;
  const ip_mreq membership = {{inet_addr(group)}, {INADDR_ANY}};
  Check(setsockopt(m_fd.Get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) == 0,
        "IP_ADD_MEMBERSHIP");
}

void Socket::Send(const std::string& text, const std::string& address, uint16_t port) {
  const sockaddr_in to = Address(inet_addr(address.c_str()), port);
  const ssize_t sent = sendto(m_fd.Get(), text.data(), text.size(), 0,
                              reinterpret_cast<const sockaddr*>(&to), sizeof(to));
  Check(sent == static_cast<ssize_t>(text.size()), "sendto");
}

Datagram Socket::Receive() {
  if (!Readable(kPatience)) throw std::runtime_error("no datagram came");
  return Read();
}

std::vector<Datagram> Socket::Drain() {
  std::vector<Datagram> all;
  while (Readable(std::chrono::milliseconds(0))) all.push_back(Read());
  return all;
}

bool Socket::Readable(std::chrono::milliseconds patience) const {
  pollfd waiting = {m_fd.Get(), POLLIN, 0};
  return poll(&waiting, 1, static_cast<int>(patience.count())) > 0;
}

Datagram Socket::Read() {
  char text[65536];
  alignas(cmsghdr) char control[256];
  sockaddr_in from = {};
  iovec part = {text, sizeof(text)};
  msghdr message = {};
  message.msg_name = &from;
  message.msg_namelen = sizeof(from);
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  const ssize_t size = recvmsg(m_fd.Get(), &message, 0);
  Check(size >= 0, "recvmsg");

  timespec arrived = {};
  const cmsghdr* stamp = CMSG_FIRSTHDR(&message);
  if (stamp != nullptr) std::memcpy(&arrived, CMSG_DATA(stamp), sizeof(arrived));
  Datagram result;
  result.text.assign(text, static_cast<size_t>(size));
  result.address = inet_ntoa(from.sin_addr);
  result.port = ntohs(from.sin_port);
  result.arrived = std::chrono::seconds(arrived.tv_sec) + std::chrono::nanoseconds(arrived.tv_nsec);
  return result;
}

}  // namespace support

// SPDX-License-Identifier: MIT
#include "peer.h"

#include <netinet/udp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace support {

namespace {

constexpr char kGroup[] = "239.255.255.250";

void Check(bool done, const char* call) {
  if (!done) throw std::runtime_error(std::string(call) + ": " + std::strerror(errno));
}

int Open(int type, int protocol) {
  const long descriptor = syscall(SYS_socket, AF_INET, type | SOCK_CLOEXEC, protocol);
  Check(descriptor >= 0, "socket");
  return static_cast<int>(descriptor);
}

void SetOption(int descriptor, int level, int option, const void* value, socklen_t size) {
  Check(syscall(SYS_setsockopt, descriptor, level, option, value, size) == 0, "setsockopt");
}

bool SendTo(int descriptor, const std::string& bytes, const sockaddr_in& to) {
  return syscall(SYS_sendto, descriptor, bytes.data(), bytes.size(), 0, &to, sizeof(to)) ==
         static_cast<long>(bytes.size());
}

}  // namespace

Peer::Peer(const char* address, uint16_t port) : m_socket(Open(SOCK_DGRAM, 0)) {
  const int reuse = 1;
  SetOption(m_socket, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
  const sockaddr_in local = Address(address, port);
  Check(syscall(SYS_bind, m_socket, &local, sizeof(local)) == 0, "bind");
  if (local.sin_addr.s_addr != INADDR_ANY) return;
  const ip_mreq group = {{inet_addr(kGroup)}, {INADDR_ANY}};
  SetOption(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof(group));
}

Peer::~Peer() {
  syscall(SYS_close, m_socket);
}

Peer Peer::InGroup() {
  return {"0.0.0.0", 1900};
}

bool Peer::Send(const std::string& message) const {
  return Send(message, Address(kGroup, 1900));
}

bool Peer::Send(const std::string& message, const sockaddr_in& to) const {
  return SendTo(m_socket, message, to);
}

std::string Peer::Receive(const std::string& text) {
  pollfd readable = {m_socket, POLLIN, 0};
  while (poll(&readable, 1, 60000) == 1) {
    char message[2048];
    socklen_t length = sizeof(m_from);
    const long size =
        syscall(SYS_recvfrom, m_socket, message, sizeof(message), 0, &m_from, &length);
    std::string received(message, size < 0 ? 0 : static_cast<size_t>(size));
    if (received.find(text) != std::string::npos) return received;
  }
  return "";
}

bool Peer::Answer(const std::string& message) const {
  return Send(message, m_from);
}

bool SendFromPortZero(const std::string& message) {
  udphdr header = {};  // without a checksum, which IPv4 allows
  header.dest = htons(1900);
  header.len = htons(static_cast<uint16_t>(sizeof(header) + message.size()));
  const std::string datagram =
      std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + message;
  const int raw = Open(SOCK_RAW, IPPROTO_UDP);
  const bool sent = SendTo(raw, datagram, Address(kGroup, 0));
  syscall(SYS_close, raw);
  return sent;
}

sockaddr_in SearchSocket() {
  for (int handle = 3; handle < 256; ++handle) {
    sockaddr_in local = {};
    socklen_t length = sizeof(local);
    if (getsockname(handle, reinterpret_cast<sockaddr*>(&local), &length) != 0) continue;
    if (local.sin_family != AF_INET || local.sin_addr.s_addr != INADDR_ANY) continue;
    if (local.sin_port != htons(1900)) return Address("10.77.0.1", ntohs(local.sin_port));
  }
  throw std::runtime_error("the library has no socket for search responses");
}

}  // namespace support

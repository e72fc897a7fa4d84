// SPDX-License-Identifier: MIT
#include "group.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  std::exit(1);
}

}  // namespace

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
  ip_mreq membership{};
  membership.imr_multiaddr = GroupAddress().sin_addr;
  if (bind(handle, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
      setsockopt(handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)) != 0)
    Fail("can't join the group");
  return handle;
}

Load::Load() : m_socket(socket(AF_INET, SOCK_DGRAM, 0)) {}

Load::~Load() {
  close(m_socket);
}

void Load::Send(const std::string& datagram, const sockaddr_in& to) {
  const ssize_t sent = sendto(m_socket, datagram.data(), datagram.size(), 0,
                              reinterpret_cast<const sockaddr*>(&to), sizeof(to));
  if (sent != static_cast<ssize_t>(datagram.size())) Fail("can't send");
}

std::string Load::WaitOnGroup(int group_socket, const std::string& start, sockaddr_in& from) {
  const timeval patience = {30, 0};
  setsockopt(group_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  for (;;) {
    char text[1024];
    socklen_t size = sizeof(from);
    const ssize_t length =
        recvfrom(group_socket, text, sizeof(text), 0, reinterpret_cast<sockaddr*>(&from), &size);
    if (length < 0) Fail("nothing came from the measured process");
    const std::string datagram(text, static_cast<size_t>(length));
    if (datagram.compare(0, start.size(), start) == 0) return datagram;
  }
}

void Load::Queue(const std::vector<std::string>& datagrams, const std::string& gate,
                 const sockaddr_in& to) {
  for (int i = 0; i < kBatch; ++i) Send(datagrams[m_next++ % datagrams.size()], to);
  Send(gate, to);
}

void Load::TakeAnswers(size_t expected) {
  char text[1024];
  for (int i = 0; i < kBatch; ++i) {
    const ssize_t length = recv(m_socket, text, sizeof(text), MSG_DONTWAIT);
    if (length != static_cast<ssize_t>(expected)) Fail("an answer is missing or of another length");
  }
}

int64_t Load::Flood(const std::vector<std::string>& datagrams, double rate, double seconds) {
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  const sockaddr_in group = GroupAddress();
  const auto begin = Clock::now();
  Seconds due{0};  // when the next one is, from the beginning
  int64_t sent = 0;
  for (;;) {
    const Seconds passed = Clock::now() - begin;
    if (passed.count() >= seconds) return sent;
    if (passed < due) continue;
    Send(datagrams[static_cast<size_t>(sent++) % datagrams.size()], group);
    // What a pause of more than a millisecond left out isn't made up for: that would be another
    // rate.
    due = std::max(due + Seconds(1 / rate), passed - Seconds(0.001));
  }
}

}  // namespace bench

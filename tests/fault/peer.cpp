// SPDX-License-Identifier: MIT
#include "peer.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <poll.h>

#include "seam.h"

namespace fault {

namespace {

sockaddr_in Address(const char* ip) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(1900);
  address.sin_addr.s_addr = inet_addr(ip);
  return address;
}

void SendTo(int socket, const std::string& message, const sockaddr_in& to) {
  EXPECT_EQ(seam::real.sendto(socket, message.data(), message.size(), 0,
                              reinterpret_cast<const sockaddr*>(&to), sizeof(to)),
            static_cast<ssize_t>(message.size()));
}

}  // namespace

Peer::Peer() : m_socket(seam::real.socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const int yes = 1;
  seam::real.setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  const sockaddr_in local = Address("0.0.0.0");
  EXPECT_EQ(seam::real.bind(m_socket, reinterpret_cast<const sockaddr*>(&local), sizeof(local)), 0);
  ip_mreq group = {};
  group.imr_multiaddr.s_addr = inet_addr("239.255.255.250");
  seam::real.setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof(group));
}

Peer::~Peer() {
  seam::real.close(m_socket);
}

std::string Peer::Receive(const std::string& text) {
  pollfd readable = {m_socket, POLLIN, 0};
  while (poll(&readable, 1, 60000) == 1) {
    char message[2048];
    socklen_t length = sizeof(m_from);
    const ssize_t size = seam::real.recvfrom(m_socket, message, sizeof(message), 0,
                                             reinterpret_cast<sockaddr*>(&m_from), &length);
    const std::string received(message, size < 0 ? 0 : static_cast<size_t>(size));
    if (received.find(text) != std::string::npos) return received;
  }
  return "";
}

void Peer::Send(const std::string& message) {
  SendTo(m_socket, message, Address("239.255.255.250"));
}

void Peer::Answer(const std::string& message) {
  SendTo(m_socket, message, m_from);
}

std::string AliveOf(const std::string& uuid) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=1800\r\n"
         "NTS: ssdp:alive\r\n"
         "NT: urn:schemas-example-org:device:Light:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:schemas-example-org:device:Light:1\r\n"
         "Status: on\r\n"
         "\r\n";
}

std::string ByebyeOf(const std::string& uuid) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=1800\r\n"
         "NTS: ssdp:byebye\r\n"
         "NT: urn:schemas-example-org:device:Light:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:schemas-example-org:device:Light:1\r\n"
         "Status: on\r\n"
         "\r\n";
}

std::string AnswerOf(const std::string& uuid) {
  return "HTTP/1.1 200 OK\r\n"
         "Cache-Control: max-age=1800\r\n"
         "ST: urn:schemas-example-org:device:Light:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:schemas-example-org:device:Light:1\r\n"
         "Status: on\r\n"
         "\r\n";
}

std::string SearchOf() {
  return "M-SEARCH * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "MAN: \"ssdp:discover\"\r\n"
         "MX: 1\r\n"
         "ST: urn:schemas-example-org:device:Light:1\r\n"
         "USER-AGENT: peer\r\n"
         "\r\n";
}

}  // namespace fault

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_PEER_H
#define LIBSSDP_TESTS_SUPPORT_PEER_H

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstdint>
#include <string>

namespace support {

inline sockaddr_in Address(const char* dotted, uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(dotted);
  return address;
}

// Another device on the process's network: a UDP socket that is closed on exec. It makes its system
// calls itself, so that no hook of the seam sees them.
class Peer {
 public:
  // On 10.77.0.1, on a free port or on `port`: receives what is sent to it.
  explicit Peer(uint16_t port = 0) : Peer("10.77.0.1", port) {}
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // A member of the group, on port 1900: receives what is sent to the group.
  static Peer InGroup();

  // To the group or to one socket; false when it can't be sent.
  bool Send(const std::string& message) const;
  bool Send(const std::string& message, const sockaddr_in& to) const;

  // The next message that contains `text`; empty when none comes for a minute.
  std::string Receive(const std::string& text = "");

  bool Answer(const std::string& message) const;  // to the sender of what was received last

 private:
  Peer(const char* address, uint16_t port);

  const int m_socket;
  sockaddr_in m_from = {};
};

// To the group, as if from port 0, to which no response can be sent.
bool SendFromPortZero(const std::string& message);

// Where the library receives search responses: of the process's sockets, the one that is on any
// address but not on port 1900.
sockaddr_in SearchSocket();

}  // namespace support

#endif

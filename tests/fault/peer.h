// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FAULT_PEER_H
#define LIBSSDP_TESTS_FAULT_PEER_H

#include <netinet/in.h>

#include <string>

namespace fault {

// Another device on the network, that uses nothing of the library: it sees the group and can answer
// to where a message came from. Its calls pass the seam by.
class Peer {
 public:
  Peer();
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // The next message on the group that contains `text`; empty when none comes for a long while.
  std::string Receive(const std::string& text);

  // To the group, and to the sender of what was received last.
  void Send(const std::string& message);
  void Answer(const std::string& message);

 private:
  const int m_socket;
  sockaddr_in m_from = {};
};

// What a device of the host's own kind with this UUID sends.
std::string AliveOf(const std::string& uuid);
std::string ByebyeOf(const std::string& uuid);
std::string AnswerOf(const std::string& uuid);
std::string SearchOf();

}  // namespace fault

#endif

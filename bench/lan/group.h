// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_BENCH_LAN_GROUP_H
#define LIBSSDP_BENCH_LAN_GROUP_H

#include <netinet/in.h>

#include <string>
#include <vector>

#include "gate.h"

namespace bench {

constexpr int kBatch = 125;  // these fit, with room to spare, into a socket's default buffer

sockaddr_in GroupAddress(uint16_t port = 1900);

// A socket with the library's own options: bound to the port and joined to the group.
int OpenGroupSocket(uint16_t port = 1900);

// The load generator.
class Load {
 public:
  Load();
  ~Load();
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  void Send(const std::string& datagram, const sockaddr_in& to);

  // Waits for the first datagram on the group that begins with `start`, and says what it was and
  // where it came from. Nothing may be sent to the group meanwhile that isn't to be seen.
  static std::string WaitOnGroup(int group_socket, const std::string& start, sockaddr_in& from);

  // Queues a batch, the next kBatch of `datagrams` round and round, and the gate behind it.
  void Queue(const std::vector<std::string>& datagrams, const std::string& gate,
             const sockaddr_in& to);

  // Takes in the answers of the last batch. Exits when one has another length than `expected`.
  void TakeAnswers(size_t expected);

  // Sends to the group at `rate` datagrams a second for that long, and gives the number sent.
  int64_t Flood(const std::vector<std::string>& datagrams, double rate, double seconds);

 private:
  const int m_socket;
  size_t m_next = 0;
};

}  // namespace bench

#endif

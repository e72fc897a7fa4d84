// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_LAN_SOCKET_H
#define LIBSSDP_TESTS_SUPPORT_LAN_SOCKET_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "lan_program.h"

namespace support {

// One datagram as it came over the wire.
struct Datagram {
  std::string text;
  std::string address;
  uint16_t port = 0;
  // When the kernel had it, by the wall clock: a reader that comes late doesn't change it.
  std::chrono::nanoseconds arrived{0};
};

// A plain UDP socket on a host: sees and sends bytes with no help from the library.
class Socket {
 public:
  // On any free port, or on `port`, which is shared with whoever else allows it, and with `group`
  // as a member of that multicast group.
  explicit Socket(int network, uint16_t port = 0, const char* group = nullptr);

  void Send(const std::string& text, const std::string& address, uint16_t port = 1900);

  // Waits for the next datagram; throws std::runtime_error when none comes.
  Datagram Receive();

  // The datagrams that are here by now.
  std::vector<Datagram> Drain();

 private:
  bool Readable(std::chrono::milliseconds patience) const;
  Datagram Read();

  Descriptor m_fd;
};

}  // namespace support

#endif

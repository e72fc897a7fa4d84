// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_LAN_H
#define LIBSSDP_TESTS_SUPPORT_LAN_H

#include <memory>
#include <string>
#include <vector>

#include "lan_program.h"
#include "lan_socket.h"

// A LAN of several hosts inside this process: each host is a network namespace, joined to the
// others by a bridge in one more. Needs EnterPrivateNetwork before it. Nothing of it outlives the
// objects, nor the process, however that ends. What can't be done is thrown as a
// std::runtime_error.
namespace support {

// While it lives this thread is in another network namespace.
class InNetwork {
 public:
  explicit InNetwork(int network);
  ~InNetwork();
  InNetwork(const InNetwork&) = delete;
  InNetwork& operator=(const InNetwork&) = delete;

 private:
  Descriptor m_home;
};

// One host: loopback, and the interface eth0 with an address and the route for multicast.
class Host {
 public:
  Host(int bridge, int number);

  const std::string& Address() const { return m_address; }
  std::unique_ptr<Program> Start(const std::vector<std::string>& command) const;

  // A socket on a free port.
  Socket OpenSocket() const { return Socket(m_network.Get()); }
  // A socket on the port, and in the group, of the devices.
  Socket OpenGroupSocket() const { return Socket(m_network.Get(), 1900, "239.255.255.250"); }
  Socket OpenSocket(uint16_t port, const char* group) const {
    return Socket(m_network.Get(), port, group);
  }

  // Takes the new address first and drops the old one then, so that the host can always send.
  void ChangeAddress(const std::string& address);

 private:
  Descriptor m_network;
  std::string m_address;
};

class Lan {
 public:
  // Returns when every host has heard every other.
  explicit Lan(int hosts);

  // The host with the address 10.77.0.`number`, counted from 1.
  Host& operator[](size_t number) { return m_hosts.at(number - 1); }

 private:
  void AwaitConnection();

  Descriptor m_bridge;
  std::vector<Host> m_hosts;
};

}  // namespace support

#endif

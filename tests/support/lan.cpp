// SPDX-License-Identifier: MIT
#include "lan.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace support {

namespace {

Descriptor ThisNetwork() {
  Descriptor network(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
  if (network.Get() < 0) throw std::runtime_error("no /proc/thread-self/ns/net");
  return network;
}

Descriptor NewNetwork() {
  const Descriptor home = ThisNetwork();
  const InNetwork back_at_the_end(home.Get());
  if (unshare(CLONE_NEWNET) != 0)
    throw std::runtime_error(std::string("unshare: ") + std::strerror(errno));
  return ThisNetwork();
}

// Runs shell commands in a network, with `other` as descriptor 9.
void Run(int network, const std::string& commands, int other = -1) {
  const std::string script = "set -e; PATH=$PATH:/sbin:/usr/sbin; " + commands;
  const pid_t child = fork();
  if (child == 0) {
    if (setns(network, CLONE_NEWNET) != 0 || (other >= 0 && !PassOn(other, 9))) _exit(126);
    execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
    _exit(127);
  }
  int status;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
    throw std::runtime_error("failed: " + commands);
}

}  // namespace

InNetwork::InNetwork(int network) : m_home(ThisNetwork()) {
  if (setns(network, CLONE_NEWNET) != 0)
    throw std::runtime_error(std::string("setns: ") + std::strerror(errno));
}

InNetwork::~InNetwork() {
  if (setns(m_home.Get(), CLONE_NEWNET) != 0) std::terminate();  // whatever follows would go astray
}

Host::Host(int bridge, int number)
    : m_network(NewNetwork()), m_address("10.77.0." + std::to_string(number)) {
  const std::string port = "port" + std::to_string(number);
  Run(bridge,
      "ip link add " + port + " type veth peer name eth0 netns /proc/self/fd/9; " + "ip link set " +
          port + " master bridge0 up",
      m_network.Get());
  Run(m_network.Get(), "ip link set lo up; ip link set eth0 up; ip addr add " + m_address +
                           "/24 dev eth0; ip route add 239.0.0.0/8 dev eth0; "
                           // dropping one address leaves the other, and the routes
                           "echo 1 > /proc/sys/net/ipv4/conf/eth0/promote_secondaries");
}

std::unique_ptr<Program> Host::Start(const std::vector<std::string>& command) const {
  return std::make_unique<Program>(m_network.Get(), command);
}

void Host::ChangeAddress(const std::string& address) {
  Run(m_network.Get(),
      "ip addr add " + address + "/24 dev eth0; ip addr del " + m_address + "/24 dev eth0");
  m_address = address;
}

// Without snooping the bridge hands all multicast to every port: nobody here asks for memberships.
Lan::Lan(int hosts) : m_bridge(NewNetwork()) {
  Run(m_bridge.Get(), "ip link add bridge0 type bridge mcast_snooping 0; ip link set bridge0 up");
  for (int number = 1; number <= hosts; ++number) m_hosts.emplace_back(m_bridge.Get(), number);
  AwaitConnection();
}

// A link that has just been set up still loses what is sent over it.
void Lan::AwaitConnection() {
  const char* group = "239.77.77.77";
  const uint16_t port = 7777;
  std::vector<Socket> sockets;
  for (const auto& host : m_hosts) sockets.push_back(host.OpenSocket(port, group));
  const size_t all = m_hosts.size() * m_hosts.size();
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  std::set<std::pair<size_t, std::string>> heard;
  while (heard.size() < all) {
    if (std::chrono::steady_clock::now() > deadline)
      throw std::runtime_error("the hosts don't hear each other");
    for (auto& socket : sockets) socket.Send("hello", group, port);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    for (size_t i = 0; i < sockets.size(); ++i)
      for (const auto& datagram : sockets[i].Drain()) heard.emplace(i, datagram.address);
  }
}

}  // namespace support

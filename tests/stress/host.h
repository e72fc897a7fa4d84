// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_STRESS_HOST_H
#define LIBSSDP_TESTS_STRESS_HOST_H

#include <netinet/in.h>

#include <string>

#include "libssdp.h"

// A host of the library and the other devices on its network.
namespace host {

// A light, created and set but not started. Destruction takes it off the network if it still is on
// it. One at a time.
class Light {
 public:
  explicit Light(bool announce, libSSDP::SSDPCallback callback = nullptr, void* context = nullptr);
  ~Light();
  Light(const Light&) = delete;
  Light& operator=(const Light&) = delete;

  void Start();
  void Stop();

 private:
  bool m_running = false;
};

// The messages of another light as they travel.
std::string Alive(const std::string& uuid, const std::string& status, int max_age = 1800);
std::string ByeBye(const std::string& uuid);
std::string Query(int mx);
std::string Reply(const std::string& uuid, const std::string& status);

// Another device's socket, on 10.77.0.1 and closed on exec.
class Peer {
 public:
  Peer();
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  bool Tell(const std::string& message);                  // to the group
  bool Tell(const std::string& message, sockaddr_in to);  // to one socket
  std::string Hear();  // the next datagram for this socket, empty after a minute

 private:
  int m_handle;
};

// Where the library receives replies: of the process's sockets, the one on any address but not on
// port 1900.
sockaddr_in SearchSocket();

}  // namespace host

#endif

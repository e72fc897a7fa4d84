// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_NETWORK_H
#define SSDP_PEER_NETWORK_H

#include <chrono>
#include <string>
#include <vector>

// What the system says about the network. Errors are errno values, 0 for none.
namespace ssdp_peer {

struct Interface {
  std::string name;
  unsigned int flags = 0;  // IFF_UP and the others
  std::vector<std::string> addresses;
};

std::vector<Interface> Interfaces();
std::vector<std::string> Names(const std::vector<Interface>& interfaces);
bool IsLocalAddress(const std::string& address);

// The interface that the system sends to the group through, which is also the one it joins it on.
struct Route {
  int error = 0;
  std::string interface;
  std::string source;  // the address that datagrams to the group are sent from
};
Route MulticastRoute();

int TryBind();        // port 1900, shared as the library shares it
int TryJoin();        // the group
int TrySend();        // an empty datagram to the group, which no receiver takes for a message
int ReceiveBuffer();  // bytes that a new socket can hold for its reader

// Whether a datagram from UDP port 1900 comes in at an ephemeral port, as search responses do.
// Takes up to `patience`, less when a signal asks for the end.
struct Probe {
  int error = 0;  // of sending it
  bool heard = false;
};
Probe ProbeResponses(const Route& route, std::chrono::milliseconds patience);

// The programs, other than this one, that have UDP port 1900: "name (pid 12)", or the user's
// number where the program can't be looked into.
std::vector<std::string> PortHolders();

// Whether any program has joined the group on the interface.
bool IsGroupJoined(const std::string& interface);

// Whether a device could live on this network; else says why not.
std::string FindNetworkFault();

}  // namespace ssdp_peer

#endif

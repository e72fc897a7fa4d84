// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_ROSTER_H
#define SSDP_PEER_ROSTER_H

#include <libssdp.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ssdp_peer {

// Forged UUIDs shall not fill the memory. Far more devices than one network has.
constexpr size_t kMostPeers = 4096;

enum class Change { kNone, kNew, kChanged, kLeft, kExpired, kDropped };

const char* ChangeName(Change change);

struct Peer {
  std::string uuid;
  std::string address;
  std::string status;
  int64_t expiry = 0;  // the library's, in seconds since the epoch
  int64_t seen = 0;    // when it was heard of last
  uint64_t turn = 0;   // the same as a sequence number
  Change change = Change::kNone;
  int64_t changed = 0;  // when `change` came
};

// The peers that were heard of: our own copies, for the library's records go when it likes. It also
// notices what the library doesn't tell: that a peer's time has run out, or its status changed.
class Roster {
 public:
  // Each returns the peer as it is now; its `change` is what this news is about.
  Peer Heard(const libSSDP::DeviceInfo& device, int64_t now);
  // A byebye. `change` is kNone when the peer wasn't here.
  Peer Left(const std::string& uuid, int64_t now);
  // Those whose time has run out by now, each told once.
  std::vector<Peer> Expire(int64_t now);

  // Makes room when there are more peers than kMostPeers, and returns those that had to go. They
  // are taken from the address that has most, the one first that was heard of longest ago: a flood
  // of forged UUIDs makes room for itself, and devices elsewhere stay.
  std::vector<Peer> Trim();
  // How many had to go so far.
  size_t Dropped() const { return m_dropped; }
  bool IsFull() const { return m_peers.size() >= kMostPeers; }

  // Those who are here, with no marks.
  Roster Present() const;

  // Ends the marks that are old enough, and with them the rows of those who are gone.
  void Settle(int64_t now);

  // Those who are here.
  size_t Count() const;
  const std::map<std::string, Peer>& Peers() const { return m_peers; }

 private:
  std::map<std::string, Peer> m_peers;
  uint64_t m_turn = 0;
  size_t m_dropped = 0;
};

bool IsGone(const Peer& peer);

}  // namespace ssdp_peer

#endif

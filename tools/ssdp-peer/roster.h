// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_ROSTER_H
#define SSDP_PEER_ROSTER_H

#include <libssdp.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ssdp_peer {

enum class Change { kNone, kNew, kChanged, kLeft, kExpired };

const char* ChangeName(Change change);

struct Peer {
  std::string uuid;
  std::string address;
  std::string status;
  int64_t expiry = 0;  // the library's, in seconds since the epoch
  int64_t seen = 0;    // when it was heard of last
  Change change = Change::kNone;
  int64_t changed = 0;  // when `change` came
};

// The peers that were heard of: our own copies, for the library's records go when it likes. It also
// notices what the library doesn't tell: that a peer's time has run out, or its status changed.
class Roster {
 public:
  // Each returns the peer as it is now; its `change` is what this news is about.
  // Nothing when there is no room for one more, which is told on standard error once.
  std::optional<Peer> Heard(const libSSDP::DeviceInfo& device, int64_t now);
  // A goodbye. `change` is kNone when the peer wasn't here.
  Peer Left(const std::string& uuid, int64_t now);
  // Those whose time has run out by now, each told once.
  std::vector<Peer> Expire(int64_t now);

  // Those who are here, with no marks.
  Roster Present() const;

  // Ends the marks that are old enough, and with them the rows of those who are gone.
  void Settle(int64_t now);

  // Those who are here.
  size_t Count() const;
  const std::map<std::string, Peer>& Peers() const { return m_peers; }

 private:
  std::map<std::string, Peer> m_peers;
  bool m_told_full = false;
};

bool IsGone(const Peer& peer);

}  // namespace ssdp_peer

#endif

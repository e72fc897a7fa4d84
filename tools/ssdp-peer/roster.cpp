// SPDX-License-Identifier: MIT
#include "roster.h"

#include <algorithm>
#include <iterator>

namespace ssdp_peer {

namespace {

// How long a row stands out, in seconds.
constexpr int64_t kMarkTime = 5;

void Mark(Peer& peer, Change change, int64_t now) {
  peer.change = change;
  peer.changed = now;
}

}  // namespace

const char* ChangeName(Change change) {
  static const char* const kNames[] = {"heard", "new", "changed", "left", "expired", "dropped"};
  return kNames[static_cast<int>(change)];
}

bool IsGone(const Peer& peer) {
  return peer.change == Change::kLeft || peer.change == Change::kExpired;
}

Peer Roster::Heard(const libSSDP::DeviceInfo& device, int64_t now) {
  const auto entry = m_peers.find(device.m_uuid);
  const bool known = entry != m_peers.end() && !IsGone(entry->second);
  Peer& peer = known ? entry->second : (m_peers[device.m_uuid] = Peer());
  Change news = known ? Change::kNone : Change::kNew;
  if (known && (peer.address != device.m_address || peer.status != device.m_status))
    news = Change::kChanged;
  peer.uuid = device.m_uuid;
  peer.address = device.m_address;
  peer.status = device.m_status;
  peer.expiry = device.m_expiry;
  peer.seen = now;
  peer.turn = ++m_turn;
  if (news != Change::kNone) Mark(peer, news, now);
  Peer told = peer;
  told.change = news;
  return told;
}

Peer Roster::Left(const std::string& uuid, int64_t now) {
  const auto entry = m_peers.find(uuid);
  if (entry == m_peers.end() || IsGone(entry->second)) return {};
  Mark(entry->second, Change::kLeft, now);
  return entry->second;
}

std::vector<Peer> Roster::Expire(int64_t now) {
  std::vector<Peer> expired;
  for (auto& [uuid, peer] : m_peers) {
    if (IsGone(peer) || peer.expiry >= now) continue;
    Mark(peer, Change::kExpired, now);
    expired.push_back(peer);
  }
  return expired;
}

std::vector<Peer> Roster::Trim() {
  std::vector<Peer> dropped;
  if (m_peers.size() <= kMostPeers) return dropped;
  for (auto entry = m_peers.begin(); entry != m_peers.end();)
    entry = IsGone(entry->second) ? m_peers.erase(entry) : std::next(entry);
  if (m_peers.size() <= kMostPeers) return dropped;
  std::map<std::string, std::vector<const Peer*>> addresses;
  for (const auto& [uuid, peer] : m_peers) addresses[peer.address].push_back(&peer);

  // A peer's rank is the number of peers at its address that were heard of later: the highest rank
  // goes first.
  struct Ranked {
    size_t rank;
    const Peer* peer;
  };
  std::vector<Ranked> all;
  for (auto& [address, peers] : addresses) {
    std::sort(peers.begin(), peers.end(),
              [](const Peer* a, const Peer* b) { return a->turn > b->turn; });
    for (size_t rank = 0; rank < peers.size(); ++rank) all.push_back({rank, peers[rank]});
  }
  std::sort(all.begin(), all.end(), [](const Ranked& a, const Ranked& b) {
    return a.rank != b.rank ? a.rank > b.rank : a.peer->turn < b.peer->turn;
  });
  all.resize(m_peers.size() - kMostPeers);
  for (const auto& [rank, peer] : all) {
    dropped.push_back(*peer);
    dropped.back().change = Change::kDropped;
    m_peers.erase(peer->uuid);
  }
  m_dropped += dropped.size();
  return dropped;
}

void Roster::Settle(int64_t now) {
  for (auto entry = m_peers.begin(); entry != m_peers.end();) {
    Peer& peer = entry->second;
    const bool old = now - peer.changed >= kMarkTime;
    if (old && IsGone(peer)) {
      entry = m_peers.erase(entry);
      continue;
    }
    if (old) peer.change = Change::kNone;
    ++entry;
  }
}

Roster Roster::Present() const {
  Roster present;
  for (const auto& [uuid, peer] : m_peers) {
    if (IsGone(peer)) continue;
    present.m_peers[uuid] = peer;
    present.m_peers[uuid].change = Change::kNone;
  }
  return present;
}

size_t Roster::Count() const {
  return static_cast<size_t>(std::count_if(
      m_peers.begin(), m_peers.end(), [](const auto& entry) { return !IsGone(entry.second); }));
}

}  // namespace ssdp_peer

// SPDX-License-Identifier: MIT
#include "roster.h"

#include <algorithm>
#include <utility>

#include "output.h"

namespace ssdp_peer {

namespace {

// How long a row stands out, in seconds.
constexpr int64_t kMarkTime = 5;

// More than any network of ours has. Who makes up one UUID after another shall not fill the memory.
constexpr size_t kMostPeers = 4096;

void Mark(Peer& peer, Change change, int64_t now) {
  peer.change = change;
  peer.changed = now;
}

}  // namespace

const char* ChangeName(Change change) {
  static const char* const kNames[] = {"heard", "new", "changed", "left", "expired"};
  return kNames[static_cast<int>(change)];
}

bool IsGone(const Peer& peer) {
  return peer.change == Change::kLeft || peer.change == Change::kExpired;
}

std::optional<Peer> Roster::Heard(const libSSDP::DeviceInfo& device, int64_t now) {
  const auto entry = m_peers.find(device.m_uuid);
  const bool known = entry != m_peers.end() && !IsGone(entry->second);
  if (entry == m_peers.end() && m_peers.size() >= kMostPeers) {
    if (!std::exchange(m_told_full, true))
      Complain("more than " + std::to_string(kMostPeers) + " devices: the others are not shown");
    return {};
  }
  Peer& peer = known ? entry->second : (m_peers[device.m_uuid] = Peer());
  Change news = known ? Change::kNone : Change::kNew;
  if (known && (peer.address != device.m_address || peer.status != device.m_status))
    news = Change::kChanged;
  peer.uuid = device.m_uuid;
  peer.address = device.m_address;
  peer.status = device.m_status;
  peer.expiry = device.m_expiry;
  peer.seen = now;
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

// SPDX-License-Identifier: MIT
#include "table.h"

#include <arpa/inet.h>

#include <algorithm>

#include "text.h"

namespace ssdp_peer {

namespace {

struct Row {
  Change change = Change::kNone;
  std::string uuid = "UUID";
  std::string address = "ADDRESS";
  std::string status = "STATUS";
  std::string seen = "SEEN";
  std::string expires = "EXPIRES";
};

struct Widths {
  size_t uuid = 0, address = 0, status = 0, seen = 0, expires = 0;
};

Row MakeRow(const Peer& peer, int64_t now) {
  const bool gone = IsGone(peer);
  return {peer.change,
          Printable(peer.uuid),
          Printable(peer.address),
          Printable(peer.status),
          Duration(now - peer.seen),
          gone ? ChangeName(peer.change) : Duration(peer.expiry - now)};
}

// A UUID is known by its start: it is shortened to so much before the status is.
constexpr size_t kLeastUuid = 11;

Widths Measure(const std::vector<Row>& rows, size_t width) {
  Widths w;
  for (const auto& row : rows) {
    w.uuid = std::max(w.uuid, Columns(row.uuid));
    w.address = std::max(w.address, row.address.size());
    w.status = std::max(w.status, Columns(row.status));
    w.seen = std::max(w.seen, row.seen.size());
    w.expires = std::max(w.expires, row.expires.size());
  }
  const size_t rest = 2 + w.address + w.seen + w.expires + 4;
  const size_t room = width > rest ? width - rest : 0;
  if (width == 0 || w.uuid + w.status <= room) return w;
  const size_t beside_status = room - std::min(room, w.status);
  w.uuid = std::min(w.uuid, std::max(kLeastUuid, beside_status));
  w.status = std::min(w.status, room - std::min(room, w.uuid));
  return w;
}

std::string Line(const Row& row, const Widths& w) {
  static const char kMarks[] = {' ', '+', '~', '-', '-', '-'};
  const auto right = [](const std::string& text, size_t width) {
    return std::string(width - text.size(), ' ') + text;
  };
  return std::string(1, kMarks[static_cast<int>(row.change)]) + " " + Fit(row.uuid, w.uuid) + " " +
         Fit(row.address, w.address) + " " + Fit(row.status, w.status) + " " +
         right(row.seen, w.seen) + " " + right(row.expires, w.expires);
}

std::string Colored(const std::string& line, const char* code) {
  return std::string("\x1b[") + code + "m" + line + "\x1b[0m";
}

// Addresses are dotted IPv4; by their numbers 10.77.0.9 comes before 10.77.0.10.
uint32_t AddressNumber(const std::string& address) {
  in_addr number = {};
  inet_pton(AF_INET, address.c_str(), &number);
  return ntohl(number.s_addr);
}

bool Contains(const std::string& text, const std::string& part) {
  const auto same = [](char a, char b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; };
    return lower(a) == lower(b);
  };
  return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end() ||
         part.empty();
}

}  // namespace

std::vector<Peer> Arrange(const Roster& roster, Order order, const std::string& filter) {
  std::vector<Peer> peers;
  for (const auto& [uuid, peer] : roster.Peers())
    if (Contains(uuid, filter) || Contains(peer.address, filter) || Contains(peer.status, filter))
      peers.push_back(peer);
  // They come by UUID, and a stable sort keeps that among equals.
  if (order == Order::kAddress)
    std::stable_sort(peers.begin(), peers.end(), [](const Peer& a, const Peer& b) {
      return AddressNumber(a.address) < AddressNumber(b.address);
    });
  if (order == Order::kSeen)
    std::stable_sort(peers.begin(), peers.end(),
                     [](const Peer& a, const Peer& b) { return a.turn > b.turn; });
  return peers;
}

std::vector<std::string> TableLines(const std::vector<Peer>& peers, Order order, int64_t now,
                                    size_t width, bool color) {
  static const char* const kColors[] = {"0", "32", "33", "31", "31", "31"};
  std::vector<Row> rows(1);
  if (order == Order::kAddress) rows[0].address += '^';
  if (order == Order::kSeen) rows[0].seen += '^';
  for (const auto& peer : peers) rows.push_back(MakeRow(peer, now));
  const Widths widths = Measure(rows, width);
  std::vector<std::string> lines;
  for (size_t i = 0; i < rows.size(); ++i) {
    std::string line = Line(rows[i], widths);
    if (width > 0) line = Cut(line, width);
    if (color && i == 0) line = Colored(line, "1");
    if (color && rows[i].change != Change::kNone)
      line = Colored(line, kColors[static_cast<int>(rows[i].change)]);
    lines.push_back(line);
  }
  return lines;
}

}  // namespace ssdp_peer

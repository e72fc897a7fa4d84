// SPDX-License-Identifier: MIT
#include "table.h"

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

// What fits is shown whole. When it's too much the UUID keeps its 36 characters as long as the
// status has half of the two's room.
Widths Measure(const std::vector<Row>& rows, size_t width) {
  Widths w;
  for (const auto& row : rows) {
    w.uuid = std::max(w.uuid, row.uuid.size());
    w.address = std::max(w.address, row.address.size());
    w.status = std::max(w.status, row.status.size());
    w.seen = std::max(w.seen, row.seen.size());
    w.expires = std::max(w.expires, row.expires.size());
  }
  const size_t rest = 2 + w.address + w.seen + w.expires + 4;
  const size_t room = width > rest ? width - rest : 0;
  if (width == 0 || w.uuid + w.status <= room) return w;
  w.uuid =
      std::min(w.uuid, std::max(room / 2, std::min<size_t>(36, room - std::min<size_t>(room, 12))));
  w.status = std::min(w.status, room - w.uuid);
  return w;
}

std::string Line(const Row& row, const Widths& w) {
  static const char kMarks[] = {' ', '+', '~', '-', '-'};
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

}  // namespace

std::vector<std::string> TableLines(const Roster& roster, int64_t now, size_t width, bool color) {
  static const char* const kColors[] = {"0", "32", "33", "31", "31"};
  std::vector<Row> rows(1);
  for (const auto& [uuid, peer] : roster.Peers()) rows.push_back(MakeRow(peer, now));
  const Widths widths = Measure(rows, width);
  std::vector<std::string> lines;
  for (size_t i = 0; i < rows.size(); ++i) {
    std::string line = Line(rows[i], widths);
    if (width > 0) line = line.substr(0, width);
    if (color && i == 0) line = Colored(line, "1");
    if (color && rows[i].change != Change::kNone)
      line = Colored(line, kColors[static_cast<int>(rows[i].change)]);
    lines.push_back(line);
  }
  return lines;
}

}  // namespace ssdp_peer

// SPDX-License-Identifier: MIT
#include "view.h"

#include <algorithm>
#include <limits>

#include "text.h"

namespace ssdp_peer {

namespace {

constexpr size_t kLongestFilter = 64;

// The whole text, on as many lines as it needs.
std::vector<std::string> Wrapped(std::string text, size_t columns) {
  std::vector<std::string> lines;
  do {
    const std::string line = Cut(text, std::max<size_t>(columns, 2));  // 2: the widest character
    lines.push_back(line);
    text.erase(0, line.size());
  } while (!text.empty());
  return lines;
}

// The header: where we are, UUID, status, and what must stay whole. Shortened are the UUID first,
// then the status; when even that isn't enough only what must stay is left.
std::vector<std::string> Header(const Scene& scene, size_t columns) {
  constexpr size_t kLeast = 8;  // of a shortened text
  const std::string dropped = "full, " + std::to_string(scene.roster.Dropped()) + " dropped";
  const std::string target =
      Printable(SearchTarget(scene.options)) + (scene.roster.IsFull() ? "  " + dropped : "");
  std::string uuid = Printable(scene.options.uuid);
  std::string status = Printable(scene.options.status);
  const size_t fixed = Columns(scene.place) + 6 + Columns(target);
  const auto shorten = [&](std::string& text) {
    const size_t all = fixed + Columns(uuid) + Columns(status);
    if (all <= columns || Columns(text) <= kLeast) return;
    text = Fit(text, std::max(kLeast, Columns(text) - std::min(Columns(text), all - columns)));
  };
  shorten(uuid);
  shorten(status);
  if (fixed + Columns(uuid) + Columns(status) > columns) return Wrapped(target, columns);
  return {scene.place + "  " + uuid + "  " + status + "  " + target};
}

std::string Rows(size_t count) {
  return std::to_string(count) + " more " + (count == 1 ? "row" : "rows");
}

}  // namespace

bool View::Press(const Key& key) {
  if (Scroll(key.kind) || (m_typing && Type(key))) return true;
  if (key.kind == KeyKind::kEscape) m_filter.clear();
  if (key.kind == KeyKind::kText && key.text == '/') {
    m_typing = true;
    m_filter.clear();
  } else if (key.kind == KeyKind::kText && key.text == 'o') {
    m_order = m_order == Order::kUuid      ? Order::kAddress
              : m_order == Order::kAddress ? Order::kSeen
                                           : Order::kUuid;
  } else {
    return false;
  }
  m_top = 0;
  return true;
}

bool View::Type(const Key& key) {
  m_top = 0;
  if (key.kind == KeyKind::kEscape) m_filter.clear();
  if (key.kind == KeyKind::kEscape || key.kind == KeyKind::kEnter) m_typing = false;
  if (key.kind == KeyKind::kErase) {
    while (!m_filter.empty() && (static_cast<unsigned char>(m_filter.back()) & 0xc0) == 0x80)
      m_filter.pop_back();  // the bytes behind the first of a character in UTF-8
    if (!m_filter.empty()) m_filter.pop_back();
  }
  if (key.kind == KeyKind::kText && m_filter.size() < kLongestFilter) m_filter += key.text;
  return true;
}

bool View::Scroll(KeyKind kind) {
  constexpr size_t kAll = std::numeric_limits<size_t>::max();
  const auto down = [this](size_t rows) { m_top += std::min(rows, kAll - m_top); };
  const auto up = [this](size_t rows) { m_top -= std::min(rows, m_top); };
  switch (kind) {
    case KeyKind::kUp:
      up(1);
      return true;
    case KeyKind::kDown:
      down(1);
      return true;
    case KeyKind::kPageUp:
      up(m_page);
      return true;
    case KeyKind::kPageDown:
      down(m_page);
      return true;
    case KeyKind::kHome:
      up(kAll);
      return true;
    case KeyKind::kEnd:
      down(kAll);
      return true;
    default:
      return false;
  }
}

std::vector<std::string> View::Lines(const Scene& scene, Output::Size size, bool color) {
  std::vector<std::string> lines = Header(scene, size.columns);
  for (auto& line : lines) {
    line = Fit(line, size.columns);
    if (color) line.insert(0, "\x1b[7m").append("\x1b[0m");
  }
  const auto peers = Arrange(scene.roster, m_order, m_filter);
  auto table = TableLines(peers, m_order, scene.now, size.columns, color);
  const size_t around = lines.size() + 3;  // the heading, the message and the keys too
  m_page = size.rows > around ? size.rows - around : 1;
  m_top = std::min(m_top, peers.size() - std::min(peers.size(), m_page));
  m_below = peers.size() - m_top - std::min(peers.size() - m_top, m_page);
  lines.push_back(table[0]);
  const auto first = table.begin() + 1 + static_cast<std::ptrdiff_t>(m_top);
  lines.insert(lines.end(), first, table.end() - static_cast<std::ptrdiff_t>(m_below));
  for (const auto& line : peers.empty() ? Hint(scene, size.columns) : std::vector<std::string>())
    if (lines.size() + 2 < size.rows) lines.push_back(line);
  lines.push_back(Fit(MessageLine(scene), size.columns));
  lines.push_back(Fit(KeyLine(scene, peers.size(), size.columns), size.columns));
  lines.resize(std::min(lines.size(), size.rows));
  return lines;
}

// What an empty table is waiting for, and what to try.
std::vector<std::string> View::Hint(const Scene& scene, size_t columns) const {
  if (!m_filter.empty()) return {Fit("  No device matches. Esc ends the filter.", columns)};
  std::vector<std::string> lines = {Fit("", columns)};
  const auto add = [&](const std::string& line) { lines.push_back(Fit("  " + line, columns)); };
  add("No other device is here. Listening for search targets that begin with");
  for (const auto& line :
       Wrapped(Printable(SearchTarget(scene.options)), columns - std::min<size_t>(columns, 4)))
    lines.push_back(Fit("    " + line, columns));
  add("Try s, which searches again; another --domain, --device-type or");
  add("--device-version; \"ssdp-peer doctor\" here and on the other host.");
  return lines;
}

std::string View::MessageLine(const Scene& scene) const {
  if (m_typing) return "filter: " + Printable(m_filter) + "_   Enter keeps it, Esc ends it";
  return Printable(scene.message);
}

// The counts, and as many keys as there is room for, the most important first.
std::string View::KeyLine(const Scene& scene, size_t shown, size_t columns) const {
  static const char* const kKeys[] = {"q quit", "s search", "/ filter", "o order", "a announce"};
  std::string line = std::to_string(scene.roster.Count()) + " here";
  if (!m_filter.empty())
    line += ", " + std::to_string(shown) + " with \"" + Printable(m_filter) + "\"";
  if (m_top > 0) line += ", " + std::to_string(m_top) + " above";
  if (m_below > 0) line += ", " + Rows(m_below);
  line += ' ';
  for (const char* key : kKeys)
    if (Columns(line) + 2 + Columns(key) <= columns) line += std::string("  ") + key;
  return line;
}

}  // namespace ssdp_peer

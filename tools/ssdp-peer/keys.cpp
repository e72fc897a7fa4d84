// SPDX-License-Identifier: MIT
#include "keys.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ssdp_peer {

namespace {

// What terminals send behind "ESC [" or "ESC O"; several for a key, for they differ.
struct Sequence {
  std::string_view bytes;
  KeyKind kind;
};
constexpr Sequence kSequences[] = {{"A", KeyKind::kUp},      {"B", KeyKind::kDown},
                                   {"5~", KeyKind::kPageUp}, {"6~", KeyKind::kPageDown},
                                   {"H", KeyKind::kHome},    {"1~", KeyKind::kHome},
                                   {"7~", KeyKind::kHome},   {"F", KeyKind::kEnd},
                                   {"4~", KeyKind::kEnd},    {"8~", KeyKind::kEnd}};

// One key of one byte. Control characters that mean nothing here are no key.
void AddByte(char byte, std::vector<Key>& keys) {
  if (byte == '\r' || byte == '\n')
    keys.push_back({KeyKind::kEnter, 0});
  else if (byte == '\x7f' || byte == '\b')
    keys.push_back({KeyKind::kErase, 0});
  else if (static_cast<unsigned char>(byte) >= ' ')
    keys.push_back({KeyKind::kText, byte});
}

// How many bytes the sequence at the start of `bytes`, "ESC [" or "ESC O", takes up; 0 when its end
// has not come. A letter or "~" ends it.
size_t SequenceLength(std::string_view bytes) {
  for (size_t i = 2; i < bytes.size(); ++i)
    if (bytes[i] >= '@' && bytes[i] <= '~') return i + 1;
  return 0;
}

}  // namespace

std::vector<Key> KeyReader::Feed(std::string_view bytes) {
  m_bytes += bytes;
  std::vector<Key> keys;
  while (!m_bytes.empty()) {
    size_t length = 1;
    if (m_bytes[0] != '\x1b') {
      AddByte(m_bytes[0], keys);
    } else if (m_bytes.size() == 1) {
      break;
    } else if (m_bytes[1] != '[' && m_bytes[1] != 'O') {
      keys.push_back({KeyKind::kEscape, 0});
    } else {
      length = SequenceLength(m_bytes);
      if (length == 0) break;
      const std::string name = m_bytes.substr(2, length - 2);
      const auto* const known =
          std::find_if(std::begin(kSequences), std::end(kSequences),
                       [&name](const Sequence& sequence) { return sequence.bytes == name; });
      if (known != std::end(kSequences)) keys.push_back({known->kind, 0});
    }
    m_bytes.erase(0, length);
  }
  return keys;
}

std::vector<Key> KeyReader::Flush() {
  const bool escape = std::exchange(m_bytes, "") == "\x1b";
  return escape ? std::vector<Key>{{KeyKind::kEscape, 0}} : std::vector<Key>();
}

}  // namespace ssdp_peer

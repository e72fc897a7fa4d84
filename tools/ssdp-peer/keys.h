// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_KEYS_H
#define SSDP_PEER_KEYS_H

#include <string>
#include <string_view>
#include <vector>

namespace ssdp_peer {

enum class KeyKind { kText, kEnter, kErase, kEscape, kUp, kDown, kPageUp, kPageDown, kHome, kEnd };

struct Key {
  KeyKind kind;
  char text;  // a byte of a character, for kText
};

// Bytes of a terminal in, keys out.
class KeyReader {
 public:
  std::vector<Key> Feed(std::string_view bytes);
  // The start of a key's bytes has come. When the rest stays away it was the Escape key: Flush.
  bool Pending() const { return !m_bytes.empty(); }
  std::vector<Key> Flush();

 private:
  std::string m_bytes;
};

}  // namespace ssdp_peer

#endif

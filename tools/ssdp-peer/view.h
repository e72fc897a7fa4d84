// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_VIEW_H
#define SSDP_PEER_VIEW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "keys.h"
#include "options.h"
#include "output.h"
#include "roster.h"
#include "table.h"

namespace ssdp_peer {

// What one frame of the live table shows, apart from how it is looked at.
struct Scene {
  const Options& options;
  const Roster& roster;
  std::string place;    // interface and address
  std::string message;  // the latest, or ""
  int64_t now;
};

// How the user looks at the live table: the order, the filter, and where the table is scrolled to.
class View {
 public:
  // False when the key does nothing here.
  bool Press(const Key& key);

  // The lines of a frame, which are never more than `size` has rows. Keeps the scrolling within the
  // table.
  std::vector<std::string> Lines(const Scene& scene, Output::Size size, bool color);

 private:
  bool Type(const Key& key);
  bool Scroll(KeyKind kind);
  std::vector<std::string> Hint(const Scene& scene, size_t columns) const;
  std::string MessageLine(const Scene& scene) const;
  std::string KeyLine(const Scene& scene, size_t shown, size_t columns) const;

  Order m_order = Order::kUuid;
  std::string m_filter;
  bool m_typing = false;  // the filter
  size_t m_top = 0;       // the first row shown
  size_t m_page = 1;      // rows shown at once, as of the last frame
  size_t m_below = 0;     // rows hidden below, as of the last frame
};

}  // namespace ssdp_peer

#endif

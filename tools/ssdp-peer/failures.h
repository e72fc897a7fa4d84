// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_FAILURES_H
#define SSDP_PEER_FAILURES_H

#include <cstddef>
#include <string>

namespace ssdp_peer {

// The failure lines that the library prints on standard output. They name conditions and source
// files, which tell the user nothing: they are counted, and shown only when that is wanted. Takes
// standard output over for good: the library's threads may outlive main's objects.
class Failures {
 public:
  Failures();
  Failures(const Failures&) = delete;
  Failures& operator=(const Failures&) = delete;

  // On standard error from here on, those of before too.
  void Show() { m_shown = true; }
  // Takes in what has been printed by now. Unread, further lines are lost, for they never block.
  void Read();
  // How many there were.
  size_t Count() const { return m_count; }

 private:
  int m_pipe = -1;
  bool m_shown = false;
  bool m_line_start = true;
  size_t m_count = 0;
};

}  // namespace ssdp_peer

#endif

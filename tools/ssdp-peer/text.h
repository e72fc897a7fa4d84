// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_TEXT_H
#define SSDP_PEER_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A peer's text is whatever bytes it chose to send: it reaches a terminal or a file only through
// these.
namespace ssdp_peer {

// Printable ASCII stays, a backslash is doubled, every other byte becomes \xNN.
std::string Printable(std::string_view text);

// The same for a field that more fields follow: a space is escaped too, and an empty text is "-".
std::string PrintableWord(std::string_view text);

// Cut to `width` characters, the last three of them "..." when something was lost, and filled up to
// it with spaces.
std::string Fit(const std::string& text, size_t width);

// "5s", "1m05s", "2h03m", "4d05h".
std::string Duration(int64_t seconds);

// "2026-11-21T11:12:13Z".
std::string TimeText(int64_t now);

// Bytes in, whole lines out, without their LF or CR LF. Of a line that no message could hold only
// the start is kept, itself too long for any message.
class LineReader {
 public:
  std::vector<std::string> Feed(std::string_view bytes);
  // The last line, when it had no line end.
  std::vector<std::string> Finish();

 private:
  std::string m_line;
};

}  // namespace ssdp_peer

#endif

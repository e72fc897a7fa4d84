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

// Takes the character set from the environment. Without it, and in a locale that has no UTF-8, only
// ASCII counts as printable. Call it before other threads run.
void UseLocale();

// Printable ASCII stays, and in a UTF-8 locale every character that takes up columns of its own. A
// backslash is doubled. Every other byte becomes \xNN: control, bidirectional and zero-width
// characters, and what is no UTF-8.
std::string Printable(std::string_view text);

// The same for a field that more fields follow: spaces are escaped too, and an empty text is "-".
std::string PrintableWord(std::string_view text);

// The columns that a printable text takes up on a terminal: some characters take two.
size_t Columns(std::string_view text);

// The longest start of a printable text that takes up at most `width` columns.
std::string Cut(std::string_view text, size_t width);

// Cut to `width` columns, the last three of them "..." when something was lost, and filled up to it
// with spaces.
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

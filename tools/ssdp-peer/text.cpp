// SPDX-License-Identifier: MIT
#include "text.h"

#include <langinfo.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace ssdp_peer {

namespace {

// Characters that wcwidth(3) gives columns, though terminals show nothing for them, or turn the
// writing direction. Most are zero columns wide there too; C libraries differ.
struct Range {
  wchar_t first;
  wchar_t last;
};
constexpr Range kInvisible[] = {
    {0xad, 0xad},     {0x61c, 0x61c},   {0x115f, 0x1160},  {0x180b, 0x180f}, {0x200b, 0x200f},
    {0x2028, 0x202e}, {0x2060, 0x206f}, {0x3164, 0x3164},  {0xfe00, 0xfe0f}, {0xfeff, 0xfeff},
    {0xffa0, 0xffa0}, {0xfff0, 0xfffb}, {0xe0000, 0xe0fff}};

bool IsInvisible(wchar_t code) {
  return std::any_of(std::begin(kInvisible), std::end(kInvisible), [code](const Range& range) {
    return code >= range.first && code <= range.last;
  });
}

// The no-break spaces are no spaces to iswspace, but to the readers of our lines.
bool IsSpace(wchar_t code) {
  return std::iswspace(static_cast<wint_t>(code)) != 0 || code == 0xa0 || code == 0x2007 ||
         code == 0x202f;
}

struct Character {
  size_t bytes;
  wchar_t code;
  size_t columns;  // 0: not printable
};

Character First(std::string_view text) {
  const char byte = text[0];
  if (static_cast<unsigned char>(byte) < 0x80)
    return {1, static_cast<wchar_t>(byte), byte >= ' ' && byte <= '~' ? 1U : 0U};
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) return {1, 0, 0};
  wchar_t code = 0;
  mbstate_t state = {};
  const size_t bytes = std::mbrtowc(&code, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 0, 0};  // no UTF-8, or the end is missing
  const int columns = IsInvisible(code) ? 0 : wcwidth(code);
  return {bytes, code, columns > 0 ? static_cast<size_t>(columns) : 0};
}

std::string Escaped(std::string_view text, bool spaces_too) {
  std::string result;
  for (; !text.empty(); text.remove_prefix(First(text).bytes)) {
    const Character character = First(text);
    const std::string_view bytes = text.substr(0, character.bytes);
    if (character.code == L'\\') {
      result += "\\\\";
    } else if (character.columns > 0 && !(spaces_too && IsSpace(character.code))) {
      result += bytes;
    } else {
      for (const char byte : bytes) {
        char code[5];
        std::snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned>(byte) & 0xff);
        result += code;
      }
    }
  }
  return result;
}

// Longer than any message: what lies beyond is dropped, and the line still reads as too long.
constexpr size_t kLongestLine = 1024;

}  // namespace

void UseLocale() {
  std::setlocale(LC_CTYPE, "");
}

std::string Printable(std::string_view text) {
  return Escaped(text, false);
}

std::string PrintableWord(std::string_view text) {
  return text.empty() ? "-" : Escaped(text, true);
}

size_t Columns(std::string_view text) {
  size_t columns = 0;
  for (; !text.empty(); text.remove_prefix(First(text).bytes)) columns += First(text).columns;
  return columns;
}

std::string Cut(std::string_view text, size_t width) {
  size_t bytes = 0;
  for (size_t columns = 0; bytes < text.size();) {
    const Character character = First(text.substr(bytes));
    columns += character.columns;
    if (columns > width) break;
    bytes += character.bytes;
  }
  return std::string(text.substr(0, bytes));
}

std::string Fit(const std::string& text, size_t width) {
  std::string cut = text;
  if (Columns(text) > width) cut = width < 4 ? Cut(text, width) : Cut(text, width - 3) + "...";
  return cut + std::string(width - Columns(cut), ' ');
}

std::string Duration(int64_t seconds) {
  seconds = std::max<int64_t>(seconds, 0);
  const auto pair = [](int64_t big, char unit, int64_t small, char small_unit) {
    char text[40];
    std::snprintf(text, sizeof(text), "%lld%c%02lld%c", static_cast<long long>(big), unit,
                  static_cast<long long>(small), small_unit);
    return std::string(text);
  };
  if (seconds < 60) return std::to_string(seconds) + "s";
  if (seconds < 3600) return pair(seconds / 60, 'm', seconds % 60, 's');
  if (seconds < 86400) return pair(seconds / 3600, 'h', seconds / 60 % 60, 'm');
  return pair(seconds / 86400, 'd', seconds / 3600 % 24, 'h');
}

std::string TimeText(int64_t now) {
  const auto time = static_cast<time_t>(now);
  tm parts = {};
  gmtime_r(&time, &parts);
  char text[32];
  text[strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts)] = '\0';
  return text;
}

std::vector<std::string> LineReader::Feed(std::string_view bytes) {
  std::vector<std::string> lines;
  for (const char c : bytes) {
    if (c == '\n') {
      if (!m_line.empty() && m_line.back() == '\r') m_line.pop_back();
      lines.push_back(std::move(m_line));
      m_line.clear();
    } else if (m_line.size() < kLongestLine) {
      m_line += c;
    }
  }
  return lines;
}

std::vector<std::string> LineReader::Finish() {
  return m_line.empty() ? std::vector<std::string>() : Feed("\n");
}

}  // namespace ssdp_peer

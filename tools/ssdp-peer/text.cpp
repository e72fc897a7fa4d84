// SPDX-License-Identifier: MIT
#include "text.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace ssdp_peer {

namespace {

std::string Escaped(std::string_view text, char first_plain) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\\\";
    } else if (c >= first_plain && c <= '~') {
      result += c;
    } else {
      char code[5];
      std::snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned>(c) & 0xff);
      result += code;
    }
  }
  return result;
}

// Longer than any message: what lies beyond is dropped, and the line still reads as too long.
constexpr size_t kLongestLine = 1024;

}  // namespace

std::string Printable(std::string_view text) {
  return Escaped(text, ' ');
}

std::string PrintableWord(std::string_view text) {
  return text.empty() ? "-" : Escaped(text, '!');
}

std::string Fit(const std::string& text, size_t width) {
  if (text.size() <= width) return text + std::string(width - text.size(), ' ');
  if (width < 4) return text.substr(0, width);
  return text.substr(0, width - 3) + "...";
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

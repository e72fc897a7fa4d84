// SPDX-License-Identifier: MIT
#include "message.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace libSSDP {

namespace {

constexpr int64_t kBeyondInt = int64_t{1} << 32;

template <typename Integer, typename Number>
Integer Saturate(Number number) {
  constexpr Number lowest = std::numeric_limits<Integer>::min();
  constexpr Number highest = std::numeric_limits<Integer>::max();
  return static_cast<Integer>(std::clamp(number, lowest, highest));
}

// The first `text` in `message` from `from` on, or null. Runs on memchr, which leaves strstr far
// behind where a first letter is rare; the last letter then spares most of the comparisons. `from`
// itself is looked at before that: a start line stands there.
// Inlined, so that the comparison with a literal is a few loads.
[[gnu::always_inline]] inline const char* Find(std::string_view message, const char* from,
                                               std::string_view text) {
  if (text.empty()) return from;
  const char* const end = message.data() + message.length();
  const size_t rest = text.length() - 1;
  while (from != nullptr && static_cast<size_t>(end - from) > rest) {
    if (from[rest] == text.back() && std::memcmp(from, text.data(), rest) == 0) return from;
    ++from;
    const size_t starts = static_cast<size_t>(end - from) - rest;
    from = static_cast<const char*>(std::memchr(from, text.front(), starts));
  }
  return nullptr;
}

// The text behind the first `marker`, or null; it ends where the message ends.
[[gnu::always_inline]] inline const char* FindValue(std::string_view message,
                                                    std::string_view marker) {
  const char* found = Find(message, message.data(), marker);
  return found == nullptr ? nullptr : found + marker.length();
}

}  // namespace

bool InsertAfter(std::string& text, const char* marker, const std::string& value) {
  const size_t index = text.find(marker) + std::strlen(marker);
  if (index > text.length()) return false;
  text.insert(index, value);
  return true;
}

bool Contains(std::string_view message, std::string_view text) {
  return Find(message, message.data(), text) != nullptr;
}

bool ContainsHeader(std::string_view message, std::string_view header, std::string_view value) {
  const char* const end = message.data() + message.length();
  const char* at = message.data();
  while ((at = Find(message, at, header)) != nullptr) {
    const char* const behind = at + header.length();
    if (static_cast<size_t>(end - behind) >= value.length() &&
        std::memcmp(behind, value.data(), value.length()) == 0)
      return true;
    ++at;
  }
  return false;
}

int ReadNumber(const char* text) {
  while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  int64_t number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    number = std::min(number * 10 + (*text - '0'), kBeyondInt);
  }
  return Saturate<int>(negative ? -number : number);
}

int64_t ReadDelayBound(const char* msearch) {
  const char* mx = FindValue(msearch, "MX: ");
  return mx == nullptr ? 0 : std::abs(int64_t{ReadNumber(mx)} * 1000);
}

bool ReadDevice(std::string_view message, int64_t now, ShortStatus short_status,
                DeviceInfo& device) {
  const char* max_age = FindValue(message, "Cache-Control: max-age=");
  const char* status = FindValue(message, "Status: ");
  const char* uuid = FindValue(message, "USN: uuid:");
  if (max_age == nullptr || status == nullptr || uuid == nullptr) return false;
  const char* uuid_end = std::strchr(uuid, ':');
  if (uuid_end == nullptr) return false;

  // "Status: " is the last header, so the message's last 4 bytes are its line end and the blank
  // line. They are dropped unseen, whatever they are.
  constexpr size_t ending = 4;
  const auto length = static_cast<size_t>(message.data() + message.length() - status);
  if (length < ending && short_status == ShortStatus::kReject) return false;

  device.m_expiry = Saturate<int32_t>(now + ReadNumber(max_age));
  device.m_status.assign(status, length < ending ? 0 : length - ending);
  device.m_uuid.assign(uuid, uuid_end);
  return true;
}

}  // namespace libSSDP

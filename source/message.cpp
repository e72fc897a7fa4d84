// SPDX-License-Identifier: MIT
#include "message.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
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

// The text behind the first `marker`, if `message` has one.
std::optional<std::string_view> FindValue(std::string_view message, std::string_view marker) {
  const size_t at = message.find(marker);
  if (at == std::string_view::npos) return std::nullopt;
  return message.substr(at + marker.length());
}

}  // namespace

bool InsertAfter(std::string& text, const char* marker, const std::string& value) {
  const size_t index = text.find(marker) + std::strlen(marker);
  if (index > text.length()) return false;
  text.insert(index, value);
  return true;
}

bool Contains(std::string_view message, std::string_view text) {
  return message.find(text) != std::string_view::npos;
}

bool ContainsHeader(std::string_view message, std::string_view header, std::string_view value) {
  for (size_t at = message.find(header); at != std::string_view::npos;
       at = message.find(header, at + 1)) {
    if (message.compare(at + header.length(), value.length(), value) == 0) return true;
  }
  return false;
}

int ReadNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.length()));
  const char sign = text.empty() ? '\0' : text.front();
  if (sign == '-' || sign == '+') text.remove_prefix(1);
  int64_t number = 0;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') break;
    number = std::min(number * 10 + (digit - '0'), kBeyondInt);
  }
  return Saturate<int>(sign == '-' ? -number : number);
}

int64_t ReadDelayBound(std::string_view msearch) {
  const auto mx = FindValue(msearch, "MX: ");
  return mx ? std::abs(int64_t{ReadNumber(*mx)} * 1000) : 0;
}

bool ReadDevice(std::string_view message, int64_t now, ShortStatus short_status,
                DeviceInfo& device) {
  const auto max_age = FindValue(message, "Cache-Control: max-age=");
  const auto status = FindValue(message, "Status: ");
  const auto uuid = FindValue(message, "USN: uuid:");
  if (!max_age || !status || !uuid) return false;
  const size_t uuid_length = uuid->find(':');
  if (uuid_length == std::string_view::npos) return false;

  // "Status: " is the last header, so the message's last 4 bytes are its line end and the blank
  // line. They are dropped without a check.
  constexpr size_t ending = 4;
  if (status->length() < ending && short_status == ShortStatus::kReject) return false;

  device.m_expiry = Saturate<int32_t>(now + ReadNumber(*max_age));
  device.m_status = status->substr(0, status->length() - std::min(status->length(), ending));
  device.m_uuid = uuid->substr(0, uuid_length);
  return true;
}

}  // namespace libSSDP

// SPDX-License-Identifier: MIT
#include "lines.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

std::string Text(const libSSDP::DeviceInfo& record) {
  return "{uuid " + record.m_uuid + ", expiry " + std::to_string(record.m_expiry) + ", address " +
         record.m_address + ", status " + record.m_status + "}";
}

std::string Event(unsigned event, const libSSDP::DeviceInfo* old,
                  const libSSDP::DeviceInfo* new_device, size_t count) {
  return "event " + std::to_string(event) + ", old " + (old ? Text(*old) : "none") + ", new " +
         (new_device ? Text(*new_device) : "none") + ", locks " + std::to_string(count);
}

std::string Waits(int64_t milliseconds) {
  return "waits " + std::to_string(milliseconds) + " ms";
}

std::string Sends(const char* socket, const std::string& address, unsigned port,
                  const std::string& bytes) {
  return std::string(socket) + " socket sends to " + address + ":" + std::to_string(port) + " " +
         bytes;
}

std::string Dotted(uint32_t address) {
  return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
         std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

std::string Printable(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char hex[8];
    std::snprintf(hex, sizeof(hex), "\\x%02x", static_cast<unsigned char>(byte));
    text += byte >= ' ' && byte <= '~' ? std::string(1, byte) : hex;
  }
  return text;
}

void RequireSame(const Lines& seen, const Lines& expected) {
  if (seen == expected) return;
  for (const auto& line : seen) std::fprintf(stderr, "seen:     %s\n", Printable(line).c_str());
  for (const auto& line : expected) std::fprintf(stderr, "expected: %s\n", Printable(line).c_str());
  std::abort();
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace fuzz

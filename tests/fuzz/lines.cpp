// SPDX-License-Identifier: MIT
#include "lines.h"

#include <cstdlib>
#include <iostream>

namespace fuzz {

std::string Text(const libSSDP::DeviceInfo& record) {
  return "{uuid " + record.m_uuid + ", expiry " + std::to_string(record.m_expiry) + ", address " +
         record.m_address + ", status " + record.m_status + "}";
}

std::string Event(unsigned event, const libSSDP::DeviceInfo* old,
                  const libSSDP::DeviceInfo* new_device, size_t count) {
  return "event " + std::to_string(event) + ", old " + (old != nullptr ? Text(*old) : "none") +
         ", new " + (new_device != nullptr ? Text(*new_device) : "none") + ", locks " +
         std::to_string(count);
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
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto number = static_cast<unsigned char>(byte);
    if (byte >= ' ' && byte <= '~')
      text += byte;
    else
      text += {'\\', 'x', digits[number / 16], digits[number % 16]};
  }
  return text;
}

void RequireSame(const Lines& seen, const Lines& expected) {
  if (seen == expected) return;
  for (const auto& line : seen) std::cerr << "seen:     " << Printable(line) << "\n";
  for (const auto& line : expected) std::cerr << "expected: " << Printable(line) << "\n";
  std::abort();
}

void Require(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "does not hold: " << what << "\n";
  std::abort();
}

}  // namespace fuzz

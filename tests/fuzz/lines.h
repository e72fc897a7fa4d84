// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_LINES_H
#define LIBSSDP_TESTS_FUZZ_LINES_H

#include <cstdint>
#include <string>
#include <vector>

#include "libssdp.h"

// What the service does that others can see, one line of text each, in the order in which it
// happens. The library's doings and the judge's expectation are written in the same words and
// compared as text, so that order, number and content are all checked at once.
namespace fuzz {

using Lines = std::vector<std::string>;

// One datagram on its way to a socket, or a receive that fails.
struct Arrival {
  std::string bytes;
  uint32_t address = 0xC0000207;  // 192.0.2.7
  uint16_t port = 50000;
  int error = 0;  // errno of the failing receive; 0: it succeeds
};

// `count` locks of the library were held during the call.
std::string Event(unsigned event, const libSSDP::DeviceInfo* old,
                  const libSSDP::DeviceInfo* new_device, size_t count);
std::string Waits(int64_t milliseconds);
std::string Sends(const char* socket, const std::string& address, unsigned port,
                  const std::string& bytes);

std::string Text(const libSSDP::DeviceInfo& record);
std::string Dotted(uint32_t address);

// `bytes` with everything but printable ASCII as \xNN.
std::string Printable(const std::string& bytes);

// Ends the program with both sides when they differ, or with `what` when it doesn't hold.
void RequireSame(const Lines& seen, const Lines& expected);
void Require(bool holds, const char* what);

}  // namespace fuzz

#endif

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_MESSAGE_H
#define LIBSSDP_SOURCE_MESSAGE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "libssdp.h"

// Text only: bytes and "now" in, values out. Nothing here knows sockets, locks or clocks. Messages
// are searched whole, never line by line, case-sensitively and for the first occurrence.
namespace libSSDP {

// Inserts `value` right behind the first `marker` in `text`, searching from its start. A text
// without the marker takes the value at index strlen(marker) - 1, which is where "not found" plus
// the marker's length wraps to. False, with `text` unchanged, when even that lies beyond its end.
bool InsertAfter(std::string& text, const char* marker, const std::string& value);

// Whether `message` contains `text` anywhere.
bool Contains(std::string_view message, std::string_view text);

// Whether `message` contains `header` with `value` right behind it anywhere.
bool ContainsHeader(std::string_view message, std::string_view header, std::string_view value);

// Like atoi (white space, a sign, digits up to the first other byte; 0 when there are none), but a
// number beyond int's range is int's nearest limit.
int ReadNumber(std::string_view text);

// The longest delay in milliseconds that an M-SEARCH grants its answers: the size of its
// MX × 1000, whatever its sign. 0 when it has no "MX: " or one that reads as 0.
int64_t ReadDelayBound(std::string_view msearch);

// What becomes of a message whose text behind "Status: " is too short to end in a blank line.
enum class ShortStatus { kReadAsEmpty, kReject };

// Fills a peer's record from a NOTIFY or a search reply that arrived at second `now`, all but its
// address. The expiry ends at int32_t's limits instead of wrapping. False, with `device` in an
// unspecified state, when the message lacks a part of the record.
bool ReadDevice(std::string_view message, int64_t now, ShortStatus short_status,
                DeviceInfo& device);

}  // namespace libSSDP

#endif

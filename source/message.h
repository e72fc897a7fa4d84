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

// Inserts `value` after the first `marker` in `text`. Without the marker the value is inserted at
// index strlen(marker) - 1, to which npos plus the marker's length wraps. Returns false, and leaves
// `text` unchanged, when that index is beyond its end.
bool InsertAfter(std::string& text, const char* marker, const std::string& value);

// Whether `message` contains `text` anywhere.
bool Contains(std::string_view message, std::string_view text);

// Whether `message` contains `header` directly followed by `value` anywhere.
bool ContainsHeader(std::string_view message, std::string_view header, std::string_view value);

// Reads as atoi does (white space, a sign, digits; 0 without digits), but a number out of range
// gives int's nearest limit.
int ReadNumber(std::string_view text);

// The upper bound of a response's delay, in milliseconds: the magnitude of MX × 1000 (UPnP Device
// Architecture 1.1, 1.3.2). 0 when MX is missing or 0.
int64_t ReadDelayBound(std::string_view msearch);

// How ReadDevice treats a text after "Status: " that is too short to end in a blank line.
enum class ShortStatus { kReadAsEmpty, kReject };

// Fills a peer's record, except its address, from a NOTIFY or a search response received at second
// `now`. The expiry saturates at int32_t's limits. Returns false, with `device` unspecified, when
// the message lacks a part of the record.
bool ReadDevice(std::string_view message, int64_t now, ShortStatus short_status,
                DeviceInfo& device);

}  // namespace libSSDP

#endif

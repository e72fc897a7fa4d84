// SPDX-License-Identifier: MIT
#include <new>

#include "memory.h"
#include "message.h"
#include "model.h"
#include "targets.h"

namespace fuzz {

// Marker up to the first NUL, then the text up to the first 0xFF, then the value.
void Marker(const std::string& input) {
  Reader reader(input);
  std::string marker = reader.Until('\0');
  if (marker.empty()) marker = "NT: ";
  const std::string text = reader.Until('\xff');
  const std::string value = reader.Bytes(std::string::npos);

  std::string expected = text;
  const bool inserts = Insert(expected, marker, value);
  std::string seen = text;
  try {
    const memory::Counted counted;
    Require(libSSDP::InsertAfter(seen, marker.c_str(), value) == inserts, "the same result");
    Require(seen == expected, "the same text");
  } catch (const std::bad_alloc&) {
    Require(seen == text, "a text that can't grow stays");
  }
}

}  // namespace fuzz

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_OUTPUT_H
#define LIBSSDP_TESTS_SUPPORT_OUTPUT_H

#include <functional>
#include <string>

namespace support {

// What the process writes to standard output while `run` runs, on any thread, with the source line
// of every failure line, as in "[123] ", replaced by "[#] ": it may change with every edit. Expect
// nothing inside `run`: a failed expectation would be captured as well.
std::string OutputOf(const std::function<void()>& run);

// The same with the line numbers left in.
std::string RawOutputOf(const std::function<void()>& run);

// `text` with the number at the beginning of every failure line, "[123] ", replaced by `mask`.
std::string MaskLineNumbers(const std::string& text, const std::string& mask);

}  // namespace support

#endif

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_OUTPUT_H
#define LIBSSDP_TESTS_SUPPORT_OUTPUT_H

#include <functional>
#include <string>

namespace support {

// How often `text` contains `part`.
int Count(const std::string& text, const std::string& part);

// Captures what the process writes to standard output, on any thread, from construction to
// destruction. Prints it at the end of a failed test, whose expectations were captured too.
class Output {
 public:
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // All that was printed since the last Clear. The source line of every failure line, as in
  // "[123] ", is replaced by "[#] ": it may change with every edit. Raw leaves it in.
  std::string Text() const;
  std::string Raw() const;

  int Count(const std::string& part) const { return support::Count(Text(), part); }
  void Clear();

 private:
  const int m_file;
  const int m_stdout;
  long m_start = 0;
};

// What the process writes to standard output while `run` runs.
std::string OutputOf(const std::function<void()>& run);

}  // namespace support

#endif

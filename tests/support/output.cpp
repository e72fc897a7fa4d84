// SPDX-License-Identifier: MIT
#include "output.h"

#include <unistd.h>

#include <cstdio>

#include "seam.h"

namespace support {

std::string RawOutputOf(const std::function<void()>& run) {
  std::fflush(stdout);
  std::FILE* file = std::tmpfile();
  const int saved = dup(STDOUT_FILENO);
  dup2(fileno(file), STDOUT_FILENO);
  run();
  std::fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  seam::real.close(saved);

  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text += static_cast<char>(c);
  std::fclose(file);
  return text;
}

std::string MaskLineNumbers(const std::string& text, const std::string& mask) {
  std::string masked;
  for (size_t at = 0; at < text.length();) {
    const size_t digits = text.find_first_not_of("0123456789", at + 1);
    const bool starts_line = at == 0 || text[at - 1] == '\n';
    if (starts_line && text[at] == '[' && digits != text.npos && digits > at + 1 &&
        text.compare(digits, 2, "] ") == 0) {
      masked += mask;
      at = digits + 2;
    } else {
      masked += text[at++];
    }
  }
  return masked;
}

std::string OutputOf(const std::function<void()>& run) {
  return MaskLineNumbers(RawOutputOf(run), "[#] ");
}

}  // namespace support

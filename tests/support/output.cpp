// SPDX-License-Identifier: MIT
#include "output.h"

#include <unistd.h>

#include <cstdio>
#include <regex>

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

std::string OutputOf(const std::function<void()>& run) {
  static const std::regex line_number("(^|\n)\\[[1-9][0-9]*\\] ");
  return std::regex_replace(RawOutputOf(run), line_number, "$1[#] ");
}

}  // namespace support

// SPDX-License-Identifier: MIT
#include "output.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

#include "seam.h"

namespace support {

namespace {

std::string WithoutLineNumbers(const std::string& text) {
  std::string masked;
  for (size_t at = 0; at < text.length();) {
    const size_t digits = text.find_first_not_of("0123456789", at + 1);
    const bool starts_line = at == 0 || text[at - 1] == '\n';
    if (starts_line && text[at] == '[' && digits != text.npos && digits > at + 1 &&
        text.compare(digits, 2, "] ") == 0) {
      masked += "[#] ";
      at = digits + 2;
    } else {
      masked += text[at++];
    }
  }
  return masked;
}

}  // namespace

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

Output::Output() : m_file(memfd_create("output", MFD_CLOEXEC)), m_stdout(dup(STDOUT_FILENO)) {
  std::fflush(stdout);
  dup2(m_file, STDOUT_FILENO);
}

Output::~Output() {
  std::fflush(stdout);
  m_start = 0;
  const std::string text = Text();
  dup2(m_stdout, STDOUT_FILENO);
  if (testing::Test::HasFailure()) std::printf("%s", text.c_str());
  seam::real.close(m_stdout);
  seam::real.close(m_file);
}

std::string Output::Raw() const {
  std::fflush(stdout);
  std::string text(static_cast<size_t>(lseek(m_file, 0, SEEK_END) - m_start), '\0');
  if (pread(m_file, text.data(), text.size(), m_start) != static_cast<ssize_t>(text.size()))
    ADD_FAILURE() << "the captured output can't be read";
  return text;
}

std::string Output::Text() const {
  return WithoutLineNumbers(Raw());
}

void Output::Clear() {
  std::fflush(stdout);
  m_start = lseek(m_file, 0, SEEK_END);
}

std::string OutputOf(const std::function<void()>& run) {
  const Output output;
  run();
  return output.Text();
}

}  // namespace support

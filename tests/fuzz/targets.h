// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_TARGETS_H
#define LIBSSDP_TESTS_FUZZ_TARGETS_H

#include <algorithm>
#include <cstdint>
#include <string>

// What is fuzzed, one function a target: each runs the library on the input and ends the program
// when it does anything but what it should. The same functions replay the corpora in the tests.
namespace fuzz {

void Reply(const std::string& input);    // a datagram at the socket that searches
void Notify(const std::string& input);   // a datagram at the group's socket, between announcements
void MSearch(const std::string& input);  // a datagram at the group's socket, between searches
void Service(const std::string& input);  // a life of the whole service; see service.cpp
void Setters(const std::string& input);  // an application's settings; see setters.cpp
void Marker(const std::string& input);   // a marker, a text and a value; see marker.cpp

// Takes an input apart from its start; empty values when it is used up.
class Reader {
 public:
  explicit Reader(const std::string& input) : m_input(input) {}

  bool AtEnd() const { return m_at >= m_input.size(); }
  uint8_t Byte() { return AtEnd() ? uint8_t{0} : static_cast<uint8_t>(m_input[m_at++]); }
  std::string Bytes(size_t count) {
    std::string bytes = m_input.substr(std::min(m_at, m_input.size()), count);
    m_at += bytes.size();
    return bytes;
  }
  std::string Until(char end) {
    std::string bytes = Bytes(m_input.find(end, std::min(m_at, m_input.size())) - m_at);
    Byte();
    return bytes;
  }
  int32_t Int() {
    uint32_t number = 0;
    for (int i = 0; i < 4; ++i) number = number << 8 | Byte();
    return static_cast<int32_t>(number);
  }

 private:
  const std::string& m_input;
  size_t m_at = 0;
};

// The second that the clock is set to for `second`. Where time_t has 32 bits it stays so far from
// both ends that a deadline, and the time between any two moments, don't leave it.
int64_t OnTheClock(int64_t second);

// A number that depends on every byte of the input: chance that is the same in every replay.
uint32_t Hash(const std::string& input);

}  // namespace fuzz

#endif

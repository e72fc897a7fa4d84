// SPDX-License-Identifier: MIT
// The targets that are one datagram: before it and after it comes a valid one, which must be
// understood and may show nothing of the other.
#include <algorithm>
#include <ctime>
#include <limits>

#include "messages.h"
#include "targets.h"
#include "trial.h"

namespace fuzz {

int64_t OnTheClock(int64_t second) {
  if constexpr (sizeof(time_t) > sizeof(int32_t)) return second;
  constexpr int64_t longest_delay = std::numeric_limits<int32_t>::max() / 1000 + 1;
  return std::clamp<int64_t>(second, -longest_delay,
                             std::numeric_limits<int32_t>::max() - 2 * longest_delay);
}

uint32_t Hash(const std::string& input) {
  uint32_t hash = 2166136261U;  // FNV-1a
  for (const char byte : input) hash = (hash ^ static_cast<uint8_t>(byte)) * 16777619U;
  return hash;
}

namespace {

// Moments at which sums with a max-age are near a limit, and quite ordinary ones.
constexpr int64_t kMoments[] = {
    1000, 1800000000, 0, -5, std::numeric_limits<int32_t>::max() - 30, int64_t{1} << 40};

void TakeChance(Chance& chance, uint32_t hash) {
  chance.now = OnTheClock(kMoments[hash % std::size(kMoments)]);
  chance.microsecond = static_cast<int>(hash % 1000000);
  chance.random = static_cast<int>(hash >> 1);
  chance.host_throws = hash >> 28 == 0;
}

}  // namespace

void Reply(const std::string& input) {
  Trial trial;
  TakeChance(trial.chance, Hash(input));
  trial.Unicast(
      {{support::Response("before")}, {input, 0x0A000001, 1900}, {support::Response("after")}});
}

void Notify(const std::string& input) {
  Trial trial;
  TakeChance(trial.chance, Hash(input));
  trial.Group({{support::Alive("before")}, {input, 0x0A000001, 1900}, {support::Alive("after")}});
}

void MSearch(const std::string& input) {
  Trial trial;
  TakeChance(trial.chance, Hash(input));
  trial.Group({{support::MSearch()}, {input, 0x0A000001, 1900}, {support::MSearch()}});
}

}  // namespace fuzz

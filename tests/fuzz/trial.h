// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_TRIAL_H
#define LIBSSDP_TESTS_FUZZ_TRIAL_H

#include <string>
#include <vector>

#include "memory.h"
#include "model.h"
#include "world.h"

namespace fuzz {

// The library and the model side by side. After each step both must have done the same and have the
// same table. A step in which an allocation failed may have been given up half way: what it did is
// then a beginning of what it should have done, and each record is as it was before or should be
// after, part by part.
class Trial {
 public:
  explicit Trial(const Settings& settings = {});  // the service runs

  Chance chance;
  Model model;
  World world;
  bool judges_tables = true;  // after each step, not only what happened
  size_t happened = 0;        // so many things so far

  using Arrivals = std::vector<Arrival>;
  void Group(const Arrivals& arrivals);
  void Unicast(const Arrivals& arrivals);

  // Closes a step: what was done since the last one is judged.
  void Judge();

  // For steps whose model needs to know of it.
  bool SomethingFailed() const { return memory::Failures() != m_failures; }

 private:
  void Follow(const Arrivals& arrivals, void (World::*run)(World::Source),
              void (Model::*hear)(const Arrival&));
  void JudgeGivenUp(const Lines& seen, const Lines& expected);

  unsigned m_failures = 0;  // when the step began
  Model::Table m_table;     // then
};

// Hands the settings to the library as an application does.
void Set(const Settings& settings);

}  // namespace fuzz

#endif

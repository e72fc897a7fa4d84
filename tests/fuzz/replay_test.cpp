// SPDX-License-Identifier: MIT
// Every input of the corpora, in every build: as it stands, and once for each allocation that it
// leads to, with that one and every later one of the same rhythm failing.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "memory.h"
#include "output.h"
#include "targets.h"

namespace fuzz {
namespace {

struct Target {
  const char* name;
  void (*run)(const std::string& input);
};

void PrintTo(const Target& target, std::ostream* out) {
  *out << target.name;
}

class Replay : public testing::TestWithParam<Target> {
 protected:
  // A failing input ends the program: what is printed first says which it was.
  template <typename Run>
  void ForEach(Run run) {
    int count = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(std::filesystem::path(CORPUS) / GetParam().name)) {
      std::ifstream stream(file.path(), std::ios::binary);
      std::cerr << file.path().filename().string() << "\n";
      run(std::string(std::istreambuf_iterator<char>(stream), {}));
      ++count;
    }
    EXPECT_GT(count, 3);
  }
};

TEST_P(Replay, DoesAsTheModel) {
  ForEach(GetParam().run);
}

TEST_P(Replay, DoesAsTheModelWhenAllocationsFail) {
  ForEach([](const std::string& input) {
    const support::Output output;  // a line for each failure
    unsigned k = 0;
    do {
      memory::FailEvery(++k);
      GetParam().run(input);
    } while (memory::Failures() > 0);
  });
  memory::FailEvery(0);
}

INSTANTIATE_TEST_SUITE_P(Corpus, Replay,
                         testing::Values(Target{"Reply", Reply}, Target{"Notify", Notify},
                                         Target{"MSearch", MSearch}, Target{"Service", Service},
                                         Target{"Setters", Setters}, Target{"Marker", Marker}),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace fuzz

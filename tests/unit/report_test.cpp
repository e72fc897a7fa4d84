// SPDX-License-Identifier: MIT
#include "report.h"

#include <gmock/gmock.h>

#include "output.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using support::RawOutputOf;

TEST(FailureLine, HasLineFunctionConditionAndFile) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(45, "Init", "a == b", "source/x.cpp"); }),
            "[45] Init: a == b failed. \n source/x.cpp\n");
}

TEST(FailureLine, HasTheReasonInParentheses) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(45, "Init", "a == b", "why", "source/x.cpp"); }),
            "[45] Init: a == b failed. (why) \n source/x.cpp\n");
}

TEST(FailureLine, TakesNoFormatFromItsTexts) {
  EXPECT_EQ(RawOutputOf([] { ReportFailure(1, "%s", "%d", "%n", "%%"); }),
            "[1] %s: %d failed. (%n) \n %%\n");
}

TEST(FailureLine, KeepsErrno) {
  int after = 0, after_reason = 0;
  OutputOf([&] {
    errno = EBUSY;
    ReportFailure(1, "f", "c", "x");
    after = errno;
    ReportFailure(1, "f", "c", "r", "x");
    after_reason = errno;
  });
  EXPECT_EQ(after, EBUSY);
  EXPECT_EQ(after_reason, EBUSY);
}

TEST(Check, IsTrueAndSilentWhenItsConditionHolds) {
  bool plain = false, reasoned = false;
  const std::string output = OutputOf([&] {
    plain = SSDP_CHECK(1 + 1 == 2);
    reasoned = SSDP_CHECK_REASON(1 + 1 == 2, "never");
  });
  EXPECT_TRUE(plain);
  EXPECT_TRUE(reasoned);
  EXPECT_EQ(output, "");
}

TEST(Check, IsFalseAndPrintsItsConditionAsItStands) {
  bool plain = true;
  const int one = 1;
  const std::string output = OutputOf([&] { plain = SSDP_CHECK(one == 2); });
  EXPECT_FALSE(plain);
  EXPECT_EQ(output, "[#] operator(): one == 2 failed. \n tests/unit/report_test.cpp\n");
}

TEST(Check, PrintsTheLineItStandsIn) {
  int line = 0;
  const std::string output = RawOutputOf([&] {
    line = __LINE__ + 1;
    SSDP_CHECK(line == 0);
  });
  EXPECT_THAT(output, testing::StartsWith("[" + std::to_string(line) + "] "));
}

TEST(Check, EvaluatesItsConditionOnce) {
  int evaluated = 0;
  OutputOf([&] { SSDP_CHECK(++evaluated == 0); });
  EXPECT_EQ(evaluated, 1);
}

TEST(Check, EvaluatesItsReasonOnlyWhenItFails) {
  int evaluated = 0;
  const auto reason = [&] {
    ++evaluated;
    return "reason";
  };
  SSDP_CHECK_REASON(1 + 1 == 2, reason());
  EXPECT_EQ(evaluated, 0);
  EXPECT_THAT(OutputOf([&] { SSDP_CHECK_REASON(1 + 1 == 3, reason()); }),
              testing::HasSubstr("(reason)"));
  EXPECT_EQ(evaluated, 1);
}

TEST(Check, LeavesMacrosInItsConditionAlone) {
  const void* pointer = "";
  EXPECT_THAT(OutputOf([&] { SSDP_CHECK(pointer == NULL); }),
              testing::HasSubstr(": pointer == NULL failed."));
}

}  // namespace
}  // namespace libSSDP

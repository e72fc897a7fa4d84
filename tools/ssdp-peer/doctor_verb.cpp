// SPDX-License-Identifier: MIT
#include "doctor.h"
#include "json.h"
#include "signals.h"
#include "terminal.h"
#include "text.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// The severity in its color: green, gray, yellow, red.
std::string SeverityText(Severity severity, bool color) {
  static const char* const kColors[] = {"32", "90", "33", "31"};
  std::string word = Fit(SeverityName(severity), 9);
  if (!color) return word;
  return std::string("\x1b[") + kColors[static_cast<int>(severity)] + "m" + word + "\x1b[0m";
}

void Tell(const Check& check, const Finding& finding, const Options& options, Output& output) {
  if (options.json) {
    output.Line(JsonFinding(check.name, finding));
    return;
  }
  output.Line(SeverityText(finding.severity, WantColor(options.color, output)) +
              Fit(check.name, 10) + finding.text);
  if (!finding.remedy.empty()) output.Line(std::string(19, ' ') + "-> " + finding.remedy);
}

Finding Skipped() {
  return {Severity::kSkipped, "not tested: fix the problems above first", ""};
}

// Empty when a signal came.
std::vector<Finding> RunChecks(const Options& options, Output& output) {
  std::vector<Finding> all;
  bool problem = false;
  for (const auto& check : kChecks) {
    const bool skip = check.needs_all && problem;
    const auto findings = skip ? std::vector<Finding>{Skipped()} : check.run(options);
    for (const auto& finding : findings) {
      if (StopAsked()) return {};
      Tell(check, finding, options, output);
      problem = problem || finding.severity == Severity::kProblem;
      all.push_back(finding);
    }
  }
  return all;
}

}  // namespace

int Doctor(const Options& options, Output& output) {
  const auto findings = RunChecks(options, output);
  if (findings.empty()) return kNetwork;
  const Finding verdict = JudgeAll(findings);
  output.Line(options.json ? JsonFinding("verdict", verdict) : verdict.text);
  if (verdict.severity == Severity::kProblem) return kNetwork;
  return verdict.severity == Severity::kWarning ? kNothing : kDone;
}

}  // namespace ssdp_peer

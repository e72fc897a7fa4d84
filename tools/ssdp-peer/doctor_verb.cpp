// SPDX-License-Identifier: MIT
#include <algorithm>

#include "doctor.h"
#include "json.h"
#include "signals.h"
#include "terminal.h"
#include "text.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// The severity in its colour: green, yellow, red.
std::string SeverityText(Severity severity, bool color) {
  static const char* const kColors[] = {"32", "33", "31"};
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

}  // namespace

int Doctor(const Options& options, Output& output) {
  Severity worst = Severity::kOk;
  for (const auto& check : kChecks) {
    for (const auto& finding : check.run(options)) {
      if (StopAsked()) return kNetwork;
      Tell(check, finding, options, output);
      worst = std::max(worst, finding.severity);
    }
  }
  if (worst == Severity::kProblem) return kNetwork;
  return worst == Severity::kWarning ? kNothing : kDone;
}

}  // namespace ssdp_peer

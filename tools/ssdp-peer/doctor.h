// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_DOCTOR_H
#define SSDP_PEER_DOCTOR_H

#include <string>
#include <vector>

#include "network.h"
#include "options.h"

namespace ssdp_peer {

enum class Severity { kOk, kSkipped, kWarning, kProblem };

const char* SeverityName(Severity severity);

struct Finding {
  Severity severity;
  std::string text;
  std::string remedy;  // the one thing to do about it; empty when all is well
};

// The interface that a remedy names: the one asked for, else the first that is ready, else the
// first that has an address, else the first. Never loopback; empty when there is no other.
std::string FittingInterface(const std::vector<Interface>& interfaces, const std::string& asked);

// The judgements: facts in, finding out. The facts come from network.h.

// `asked` is the interface that the user named, empty for the route's.
Finding JudgeInterface(const std::vector<Interface>& interfaces, const Route& route,
                       const std::string& asked);
Finding JudgeRoute(const Route& route, const std::string& asked, const std::string& fitting);
Finding JudgeGroup(int error, const std::string& fitting);
Finding JudgePort(int error, const std::vector<std::string>& holders);
// `joined`: whether any program has joined the group on the interface.
Finding JudgeRunning(const std::vector<std::string>& holders, const std::string& interface,
                     bool joined);
Finding JudgeSend(int error, const std::string& fitting);
enum class Echo { kHeard, kSilence, kNotSent, kNotStarted };
Finding JudgeEcho(Echo echo);
Finding JudgeResponses(const Probe& probe);
Finding JudgeBuffer(int bytes);
std::vector<Finding> JudgeSettings(const Options& options);

// One sentence about all findings.
Finding JudgeAll(const std::vector<Finding>& findings);

// The checks in their order, each with the facts it needs.
struct Check {
  const char* name;
  bool needs_all;  // skipped after a problem, which it would blame on something else
  std::vector<Finding> (*run)(const Options& options);
};
extern const std::vector<Check> kChecks;

}  // namespace ssdp_peer

#endif

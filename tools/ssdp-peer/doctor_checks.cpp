// SPDX-License-Identifier: MIT
// The doctor's checks: each gathers its facts and has them judged.
#include <poll.h>

#include <chrono>

#include "doctor.h"
#include "session.h"
#include "signals.h"
#include "validation.h"

namespace ssdp_peer {

namespace {

using Findings = std::vector<Finding>;

std::string Fitting(const Options& options) {
  return FittingInterface(Interfaces(), options.interface);
}

// What this host sends to itself takes no time, unless the host is busy.
constexpr std::chrono::seconds kPatience(5);

bool HearOurselves(Session& session) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + kPatience;
  pollfd waiting[] = {{session.Descriptor(), POLLIN, 0}, {SignalDescriptor(), POLLIN, 0}};
  while (Clock::now() < deadline && !StopAsked()) {
    for (const auto& event : session.Take())
      if (session.IsOwn(event)) return true;
    poll(waiting, 2, 100);
    TakeSignals();
  }
  return false;
}

Echo ListenForOurselves(const Options& options) {
  Session session(options);
  if (!session.Running()) return Echo::kNotStarted;
  if (!session.Announce()) return Echo::kNotSent;
  const Echo echo = HearOurselves(session) ? Echo::kHeard : Echo::kSilence;
  return session.End() ? echo : Echo::kNotSent;
}

Findings CheckRunning(const Options&) {
  const std::string interface = MulticastRoute().interface;
  return {JudgeRunning(PortHolders(), interface, IsGroupJoined(interface))};
}

}  // namespace

const std::vector<Check> kChecks = {
    {"interface", false,
     [](const Options& options) {
       return Findings{JudgeInterface(Interfaces(), MulticastRoute(), options.interface)};
     }},
    {"route", true,
     [](const Options& options) {
       return Findings{JudgeRoute(MulticastRoute(), options.interface, Fitting(options))};
     }},
    {"group", true,
     [](const Options& options) { return Findings{JudgeGroup(TryJoin(), Fitting(options))}; }},
    {"port", false, [](const Options&) { return Findings{JudgePort(TryBind(), PortHolders())}; }},
    {"running", true, CheckRunning},
    {"buffer", false, [](const Options&) { return Findings{JudgeBuffer(ReceiveBuffer())}; }},
    {"settings", false, [](const Options& options) { return JudgeSettings(options); }},
    {"send", true,
     [](const Options& options) { return Findings{JudgeSend(TrySend(), Fitting(options))}; }},
    {"echo", true,
     [](const Options& options) { return Findings{JudgeEcho(ListenForOurselves(options))}; }},
    {"responses", true,
     [](const Options&) {
       return Findings{JudgeResponses(ProbeResponses(MulticastRoute(), kPatience))};
     }},
};

}  // namespace ssdp_peer

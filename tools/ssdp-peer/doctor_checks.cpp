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

// Loopback takes no time; a machine that is busy does.
constexpr std::chrono::seconds kEchoTime(5);

bool HearOurselves(Session& session) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + kEchoTime;
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

Findings CheckEcho(const Options& options) {
  if (TrySend() != 0) return {JudgeEcho(Echo::kNotSent)};  // a service would end up stuck
  if (!FindLongMessage(options).empty())
    return {{Severity::kWarning, "not announced: the messages are too long",
             "shorten the settings below first"}};
  return {JudgeEcho(ListenForOurselves(options))};
}

}  // namespace

const std::vector<Check> kChecks = {
    {"interface",
     [](const Options& options) {
       return Findings{JudgeInterface(Interfaces(), MulticastRoute(), options.interface)};
     }},
    {"route",
     [](const Options& options) {
       return Findings{JudgeRoute(MulticastRoute(), options.interface, Fitting(options))};
     }},
    {"group",
     [](const Options& options) { return Findings{JudgeGroup(TryJoin(), Fitting(options))}; }},
    {"port", [](const Options&) { return Findings{JudgePort(TryBind(), PortHolders())}; }},
    {"send",
     [](const Options& options) { return Findings{JudgeSend(TrySend(), Fitting(options))}; }},
    {"echo", CheckEcho},
    {"buffer", [](const Options&) { return Findings{JudgeBuffer(ReceiveBuffer())}; }},
    {"settings", [](const Options& options) { return JudgeSettings(options); }},
};

}  // namespace ssdp_peer

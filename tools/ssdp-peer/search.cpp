// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>

#include "json.h"
#include "loop.h"
#include "roster.h"
#include "table.h"
#include "terminal.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

void Take(Session& session, Roster& roster) {
  for (const auto& event : session.Take()) {
    if (event.kind == libSSDP::SSDP_SEARCH_RECEIVED || session.IsOwn(event)) continue;
    if (event.kind == libSSDP::SSDP_DEVICE_REMOVED)
      roster.Left(event.device.m_uuid, event.time);
    else
      roster.Heard(event.device, event.time);
  }
}

// "[#####---------------] 2 found, 1s left", in place: a bar that wraps could not be drawn over.
void DrawBar(Output& output, Clock::duration passed, int wait, size_t found) {
  constexpr size_t kCells = 20;
  const auto seconds = std::chrono::duration<double>(passed).count();
  const auto full = std::min(kCells, static_cast<size_t>(seconds / wait * kCells));
  const std::string bar = "[" + std::string(full, '#') + std::string(kCells - full, '-') + "] " +
                          std::to_string(found) + " found, " +
                          std::to_string(wait - std::min(wait, static_cast<int>(seconds))) +
                          "s left";
  output.Write("\r" + bar.substr(0, output.TerminalSize().columns - 1) + "\x1b[K");
}

// Searches, and gathers answers until the time is up or a signal ends it.
bool Gather(const Options& options, Output& output, Session& session, Roster& roster) {
  const bool bar = output.IsTerminal() && !options.json;
  if (!session.Search()) return false;
  Loop loop(session, output);
  const auto start = Clock::now();
  const auto end = start + std::chrono::seconds(options.wait);
  do {
    Take(session, roster);
    if (bar) DrawBar(output, Clock::now() - start, options.wait, roster.Count());
  } while (Clock::now() < end &&
           loop.Wait(bar ? std::min(end, Clock::now() + std::chrono::milliseconds(100)) : end));
  Take(session, roster);
  if (bar) output.Write("\r\x1b[K");
  return true;
}

void Show(const Options& options, Output& output, const Roster& roster) {
  if (options.json) {
    for (const auto& [uuid, peer] : roster.Peers()) output.Line(JsonPeer("", peer, Now()));
    return;
  }
  if (roster.Count() == 0) return Complain("nobody answered");
  const size_t width = output.IsTerminal() ? output.TerminalSize().columns : 0;
  for (const auto& line : TableLines(Arrange(roster, Order::kUuid, ""), Order::kUuid, Now(), width,
                                     WantColor(options.color, output)))
    output.Line(line);
}

}  // namespace

int Search(const Options& options, Output& output) {
  Session session(options);
  Roster roster;
  if (!session.Running() || !Gather(options, output, session, roster)) {
    Complain("the search could not be sent; \"ssdp-peer doctor\" says more");
    return kNetwork;
  }
  const bool said_goodbye = session.End();
  const Roster present = roster.Present();  // who said goodbye meanwhile isn't here
  Show(options, output, present);
  if (!said_goodbye) return kNetwork;
  return present.Count() > 0 ? kDone : kNothing;
}

}  // namespace ssdp_peer

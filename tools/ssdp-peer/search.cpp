// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>

#include "json.h"
#include "loop.h"
#include "roster.h"
#include "table.h"
#include "tell.h"
#include "terminal.h"
#include "text.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// One search and those who have answered it.
class Searcher {
 public:
  Searcher(const Options& options, Output& output, Session& session)
      : m_options(options),
        m_output(output),
        m_session(session),
        m_table(output.IsTerminal() && !options.json && !options.quiet) {}

  // Searches, and gathers responses until the time is up, the first is enough, or a signal ends it.
  // False when the search could not be sent.
  bool Gather();
  // The table, where one is shown.
  void Show() const;
  size_t Found() const { return m_roster.Count(); }

 private:
  void Take();
  void Tell(const Peer& peer);
  void DrawBar(Clock::duration passed);
  bool Enough() const { return (m_options.first || m_options.quiet) && Found() > 0; }

  const Options& m_options;
  Output& m_output;
  Session& m_session;
  const bool m_table;  // at the end; else each peer is printed when it answers
  Roster m_roster;
};

bool Searcher::Gather() {
  if (!m_session.Search()) return false;
  Loop loop(m_session, m_output);
  const auto start = Clock::now();
  const auto end = start + std::chrono::seconds(m_options.wait);
  const auto next = [&] {
    return m_table ? std::min(end, Clock::now() + std::chrono::milliseconds(100)) : end;
  };
  do {
    Take();
    if (m_table) DrawBar(Clock::now() - start);
  } while (!Enough() && Clock::now() < end && loop.Wait(next()));
  Take();
  if (m_table) m_output.Write("\r\x1b[K");
  return true;
}

void Searcher::Take() {
  for (const auto& event : m_session.Take()) {
    if (event.kind == libSSDP::SSDP_SEARCH_RECEIVED || m_session.IsOwn(event) || Enough()) continue;
    if (event.kind == libSSDP::SSDP_DEVICE_REMOVED)
      m_roster.Left(event.device.m_uuid, event.time);
    else
      Tell(m_roster.Heard(event.device, event.time));
  }
  m_roster.Trim();
}

void Searcher::Tell(const Peer& peer) {
  if (m_table || m_options.quiet || peer.change != Change::kNew) return;
  m_output.Line(m_options.json ? JsonPeer("", peer, Now())
                               : PrintableWord(peer.uuid) + " " + PrintableWord(peer.address) +
                                     " " + Printable(peer.status));
}

// "[#####---------------] 2 found, 1s left", in place: a bar that wraps could not be drawn over.
void Searcher::DrawBar(Clock::duration passed) {
  constexpr size_t kCells = 20;
  const int wait = m_options.wait;
  const auto seconds = std::chrono::duration<double>(passed).count();
  const auto full = std::min(kCells, static_cast<size_t>(seconds / wait * kCells));
  const std::string bar = "[" + std::string(full, '#') + std::string(kCells - full, '-') + "] " +
                          std::to_string(Found()) + " found, " +
                          std::to_string(wait - std::min(wait, static_cast<int>(seconds))) +
                          "s left";
  m_output.Write("\r" + bar.substr(0, m_output.TerminalSize().columns - 1) + "\x1b[K");
}

void Searcher::Show() const {
  if (Found() == 0 && !m_options.json && !m_options.quiet) Complain("nobody answered");
  if (Found() == 0 || !m_table) return;
  const Roster present = m_roster.Present();  // without those who have left meanwhile
  for (const auto& line :
       TableLines(Arrange(present, Order::kUuid, ""), Order::kUuid, Now(),
                  m_output.TerminalSize().columns, WantColor(m_options.color, m_output)))
    m_output.Line(line);
}

}  // namespace

int Search(const Options& options, Output& output) {
  Session session(options);
  Searcher searcher(options, output, session);
  if (!TellRunning(session)) return kNetwork;
  if (!searcher.Gather()) {
    TellUnsent("search");
    return kNetwork;
  }
  const bool left = EndSession(session);
  searcher.Show();
  if (!left) return kNetwork;
  return searcher.Found() > 0 ? kDone : kNothing;
}

}  // namespace ssdp_peer

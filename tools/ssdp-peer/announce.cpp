// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <chrono>

#include "json.h"
#include "loop.h"
#include "tell.h"
#include "text.h"
#include "validation.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// The device, its status, and when it is announced next.
class Announcer {
 public:
  Announcer(const Options& options, Output& output, Session& session)
      : m_options(options),
        m_output(output),
        m_session(session),
        m_typed(isatty(STDIN_FILENO) != 0 && output.IsTerminal() && !options.json) {}

  // To whoever types: what that does.
  void TellUse() {
    if (m_typed) m_output.Line("Each line that you type is the new status. Ctrl-C ends.");
  }

  bool Announce() {
    m_next = Clock::now() + std::chrono::seconds(m_options.every);
    if (!m_session.Announce()) {
      TellUnsent("announcement");
      return false;
    }
    if (m_options.verbose) Tell();
    return true;
  }

  Clock::time_point Next() const { return m_next; }

  // A line that can't be a status is refused, and the device stays as it was.
  void TakeStatus(const std::string& line) {
    Options changed = m_options;
    changed.status = line;
    std::string fault = FindBadValue(changed);
    if (fault.empty()) fault = FindLongMessage(changed);
    if (!fault.empty()) return Complain("input refused: " + fault);
    m_options = changed;
    m_session.SetStatus(line);
    if (Announce() && m_typed && !m_options.verbose) Tell();
  }

  void TellSearched(const Event& event) {
    if (event.kind != libSSDP::SSDP_SEARCH_RECEIVED || !m_options.verbose) return;
    m_output.Line(m_options.json ? JsonEvent("searched", event.time)
                                 : TimeText(event.time) + " searched");
  }

 private:
  void Tell() {
    m_output.Line(m_options.json ? JsonStatus(m_options.status, Now())
                                 : TimeText(Now()) + " announced " + Printable(m_options.status));
  }

  Options m_options;
  Output& m_output;
  Session& m_session;
  const bool m_typed;  // the input is, by somebody who sees the output
  Clock::time_point m_next;
};

}  // namespace

int Announce(const Options& options, Output& output) {
  Session session(options);
  Announcer announcer(options, output, session);
  if (!session.Running() || !TellStart(options, output) || !announcer.Announce()) return kNetwork;
  announcer.TellUse();
  Loop loop(session, output);
  loop.ReadInput();
  LineReader lines;
  bool reading = true;
  while (loop.Wait(announcer.Next())) {
    for (const auto& line : lines.Feed(loop.TakeInput())) announcer.TakeStatus(line);
    if (reading && loop.InputEnded()) {
      reading = false;
      for (const auto& line : lines.Finish()) announcer.TakeStatus(line);
    }
    for (const auto& event : session.Take()) announcer.TellSearched(event);
    if (Clock::now() >= announcer.Next()) announcer.Announce();
  }
  return EndSession(session) ? kDone : kNetwork;
}

}  // namespace ssdp_peer

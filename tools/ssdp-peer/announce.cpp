// SPDX-License-Identifier: MIT
#include <unistd.h>

#include <chrono>

#include "json.h"
#include "loop.h"
#include "presence.h"
#include "tell.h"
#include "text.h"
#include "validation.h"
#include "verbs.h"

namespace ssdp_peer {

namespace {

// The device and its status.
class Announcer {
 public:
  Announcer(const Options& options, Output& output, Session& session)
      : m_options(options),
        m_output(output),
        m_presence(options, session),
        m_typed(isatty(STDIN_FILENO) != 0 && output.IsTerminal() && !options.json) {}

  // Tells a user at a terminal what typing does.
  void TellUse() {
    if (m_typed) m_output.Line("Each line that you type is the new status. Ctrl-C ends.");
  }

  bool Announce() {
    const bool sent = m_presence.Announce();
    if (sent && m_options.verbose) Tell();
    return sent;
  }

  // Does what is due.
  void Step() {
    if (m_presence.Step() && m_options.verbose) Tell();
  }
  Clock::time_point NextStep() const { return m_presence.NextStep(); }

  // A line that can't be a status is refused, and the device stays as it was.
  void TakeStatus(const std::string& line) {
    Options changed = m_options;
    changed.status = line;
    std::string fault = FindBadValue(changed);
    if (fault.empty()) fault = FindLongMessage(changed);
    if (!fault.empty()) return Complain("input refused: " + fault);
    m_options = changed;
    if (m_presence.SetStatus(line) && (m_typed || m_options.verbose)) Tell();
  }

  void Take(const Event& event) {
    m_presence.Take(event);
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
  Presence m_presence;
  const bool m_typed;  // the input is, by somebody who sees the output
};

}  // namespace

int Announce(const Options& options, Output& output) {
  Session session(options);
  Announcer announcer(options, output, session);
  if (!TellRunning(session) || !TellStart(options, output) || !announcer.Announce())
    return kNetwork;
  announcer.TellUse();
  Loop loop(session, output);
  loop.ReadInput();
  LineReader lines;
  bool reading = true;
  while (loop.Wait(announcer.NextStep())) {
    for (const auto& line : lines.Feed(loop.TakeInput())) announcer.TakeStatus(line);
    if (reading && loop.InputEnded()) {
      reading = false;
      for (const auto& line : lines.Finish()) announcer.TakeStatus(line);
    }
    for (const auto& event : session.Take()) announcer.Take(event);
    announcer.Step();
  }
  return EndSession(session) ? kDone : kNetwork;
}

}  // namespace ssdp_peer

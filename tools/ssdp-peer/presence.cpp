// SPDX-License-Identifier: MIT
#include "presence.h"

#include <net/if.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "network.h"
#include "tell.h"

namespace ssdp_peer {

namespace {

using std::chrono::seconds;

// Longer than the MX that searches are recommended to grant (UPnP Device Architecture 1.1, 1.3.2).
constexpr seconds kRepeatTime(6);
// A looped-back datagram takes no time; a machine that is busy does.
constexpr seconds kEchoTime(4);
// How soon what could not be sent is tried again.
constexpr seconds kRetryTime(5);
// Each restart sends a byebye: where they don't help, they come ever more seldom.
constexpr seconds kFirstPatience(10);
constexpr seconds kLastPatience(600);

// The interface that the multicast leaves through, or "". One that was made again has another
// number under its old name.
std::string RouteName() {
  const Route route = MulticastRoute();
  if (route.error != 0) return "";
  return route.interface + " " + std::to_string(if_nametoindex(route.interface.c_str()));
}

}  // namespace

Presence::Presence(const Options& options, Session& session)
    : m_options(options), m_session(session), m_route(RouteName()) {}

// Another route makes an announcement due: whether it comes back tells whether the service is deaf.
bool Presence::RouteChanged() {
  if (Clock::now() < m_route_check) return false;
  m_route_check = Clock::now() + seconds(1);
  const std::string now = RouteName();
  return !now.empty() && now != std::exchange(m_route, now);
}

bool Presence::Send() {
  const bool sent = m_session.Announce();
  m_next = Clock::now() +
           (sent ? seconds(m_options.every) : std::min(seconds(m_options.every), kRetryTime));
  if (sent && m_failing) Complain("announcements can be sent again");
  if (sent && !m_awaited) m_awaited = Clock::now() + kEchoTime;
  m_failing = !sent;
  return sent;
}

bool Presence::Announce() {
  const bool sent = Send();
  if (!sent) TellUnsent("announcement");
  return sent;
}

bool Presence::SetStatus(const std::string& status) {
  m_session.SetStatus(status);
  m_repeat = Clock::now() + kRepeatTime;
  return Announce();
}

void Presence::Take(const Event& event) {
  // A service that hears searches isn't deaf. During their response delays it hears nothing else.
  if (event.kind == libSSDP::SSDP_SEARCH_RECEIVED) {
    m_missed = 0;
    if (m_awaited) m_awaited = Clock::now() + kEchoTime;
    return;
  }
  if (event.kind == libSSDP::SSDP_DEVICE_REMOVED || !m_session.IsOwn(event)) return;
  if (m_restarted) Complain("the restarted service hears its own announcement again");
  m_awaited.reset();
  m_missed = 0;
  m_restarted.reset();
  m_patience = seconds(0);
}

bool Presence::Step() {
  const auto now = Clock::now();
  // Once more a little later: what came back first may have been sent before the change.
  const bool moved = RouteChanged();
  if (moved) m_repeat = now + kRepeatTime;
  bool due = moved || now >= m_next;
  if (!moved && m_repeat && now >= *m_repeat) {
    m_repeat.reset();
    due = true;
  }
  if (m_awaited && now >= *m_awaited) {
    m_awaited.reset();
    ++m_missed;
    due = due || m_missed == 1;  // one may get lost
  }
  const bool broken = m_missed > 1 || !m_session.Running();
  if (broken && (!m_restarted || now >= *m_restarted + m_patience)) {
    Restart();
    due = true;
  }
  if (!due) return false;
  const bool failed_before = m_failing;
  const bool sent = Send();
  if (!sent && !failed_before) TellUnsent("announcement");
  return sent;
}

Clock::time_point Presence::NextStep() const {
  return std::min({m_next, m_repeat.value_or(m_next), m_awaited.value_or(m_next)});
}

void Presence::Restart() {
  if (!m_restarted) Complain("our own announcement did not come back: the service is restarted");
  m_session.Restart();
  m_session.Search();  // what was missed meanwhile
  m_restarted = Clock::now();
  m_patience = std::clamp(m_patience * 2, kFirstPatience, kLastPatience);
}

}  // namespace ssdp_peer

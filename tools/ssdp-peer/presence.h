// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_PRESENCE_H
#define SSDP_PEER_PRESENCE_H

#include <optional>
#include <string>

#include "loop.h"
#include "options.h"
#include "session.h"

namespace ssdp_peer {

// Keeps this device on the network: announces it in time, and restarts the service when it has
// become deaf. That is so when the network came after the service, when the interface was deleted
// and made again, or when the route leads elsewhere now: the group was joined where it was then,
// and every call succeeds all the same. It is detected by our own announcement
// not coming back.
class Presence {
 public:
  Presence(const Options& options, Session& session);

  // Announces at once. Both tell a failure on standard error.
  bool Announce();
  // The new status is announced once more some seconds later: a response to a search that is under
  // way still carries the old one, and may arrive after the new.
  bool SetStatus(const std::string& status);

  // Every event goes through here first.
  void Take(const Event& event);
  // Does what is due. True when an announcement was sent.
  bool Step();
  Clock::time_point NextStep() const;

 private:
  bool RouteChanged();
  bool Send();
  void Restart();

  const Options& m_options;
  Session& m_session;
  std::string m_route;                         // of the multicast, as it was last
  Clock::time_point m_route_check;             // the next
  Clock::time_point m_next;                    // announcement
  std::optional<Clock::time_point> m_repeat;   // of the new status
  bool m_failing = false;                      // the last announcement could not be sent
  std::optional<Clock::time_point> m_awaited;  // until then our announcement should come back
  int m_missed = 0;                            // times in a row that it did not
  std::optional<Clock::time_point> m_restarted;
  std::chrono::seconds m_patience{0};  // between two restarts
};

}  // namespace ssdp_peer

#endif

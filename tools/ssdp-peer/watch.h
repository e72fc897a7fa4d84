// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_WATCH_H
#define SSDP_PEER_WATCH_H

#include <string>
#include <vector>

#include "loop.h"
#include "options.h"
#include "presence.h"
#include "roster.h"
#include "session.h"

namespace ssdp_peer {

// One thing that happened: a peer's news, or with `searched` a search that we answer.
struct News {
  Peer peer;
  bool searched = false;
  int64_t time = 0;
};

// What watching is, however it is shown: the peers, kept up to date, and our own announcements.
class Watcher {
 public:
  Watcher(const Options& options, Session& session)
      : m_session(session), m_presence(options, session) {}

  // Both tell a failure on standard error.
  bool Announce() { return m_presence.Announce(); }
  bool Search();
  // Takes in what has happened, announces when it is due, and returns the news.
  std::vector<News> Step();
  Clock::time_point NextStep() const;
  const Roster& Peers() const { return m_roster; }

 private:
  void Take(const Event& event, std::vector<News>& news);

  Session& m_session;
  Presence m_presence;
  Roster m_roster;
};

}  // namespace ssdp_peer

#endif

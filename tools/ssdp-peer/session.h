// SPDX-License-Identifier: MIT
#ifndef SSDP_PEER_SESSION_H
#define SSDP_PEER_SESSION_H

#include <libssdp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "options.h"

namespace ssdp_peer {

int64_t Now();  // seconds since the epoch, the clock that the library's expiry is told by

struct Event {
  unsigned int kind;  // as the callback is given it
  libSSDP::DeviceInfo device;
  int64_t time;
};

// This process as one device on the network. The library announces nothing by itself here: the
// verbs do it, so that a failure is noticed and announcements can come more often than they expire.
class Session {
 public:
  explicit Session(const Options& options);
  ~Session() { End(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  bool Running() const { return m_running; }
  bool Announce();
  bool Search();
  bool SetStatus(const std::string& status);

  // Stops and starts the service, which reads the interface and joins the group anew. Everything
  // set is kept. False when it did not start.
  bool Restart();

  // Sends a byebye. False when that wasn't possible: the library's threads then run on, and the
  // process has to be left by _Exit.
  bool End();
  static bool IsStuck();

  // Readable when there are events; Take empties it.
  int Descriptor() const;
  std::vector<Event> Take();
  // Whether the event is about this device as it hears itself, and not about a namesake elsewhere.
  bool IsOwn(const Event& event) const;

 private:
  std::string m_uuid;
  bool m_running = false;
};

}  // namespace ssdp_peer

#endif

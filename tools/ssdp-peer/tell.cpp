// SPDX-License-Identifier: MIT
#include "tell.h"

#include <cstring>

#include "json.h"
#include "network.h"
#include "text.h"

namespace ssdp_peer {

bool TellStart(const Options& options, Output& output) {
  const Route route = MulticastRoute();
  if (options.json) return output.Line(JsonStarted(options, route.interface, route.source, Now()));
  return output.Line(TimeText(Now()) + " started " + PrintableWord(route.source) + " " +
                     PrintableWord(options.uuid) + " " + Printable(options.status));
}

bool TellRunning(const Session& session) {
  if (!session.Running()) Complain("the service could not start; \"ssdp-peer doctor\" says more");
  return session.Running();
}

// The library does not pass errno on, so the operation is tried here.
void TellUnsent(const std::string& message) {
  const int error = TrySend();
  const std::string reason = error == 0 ? "" : std::string(": ") + std::strerror(error);
  Complain("the " + message + " could not be sent" + reason + "; \"ssdp-peer doctor\" says more");
}

bool EndSession(Session& session) {
  const bool ended = session.End();
  if (!ended) TellUnsent("byebye");
  return ended;
}

}  // namespace ssdp_peer

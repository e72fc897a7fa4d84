// SPDX-License-Identifier: MIT
#include "json.h"

#include <nlohmann/json.hpp>

#include "text.h"

namespace ssdp_peer {

namespace {

using Json = nlohmann::ordered_json;

std::string Line(const Json& object) {
  constexpr bool ascii_only = true;
  return object.dump(-1, ' ', ascii_only, Json::error_handler_t::replace);
}

}  // namespace

std::string JsonStarted(const Options& options, const std::string& interface,
                        const std::string& address, int64_t now) {
  return Line({{"event", "started"},
               {"time", TimeText(now)},
               {"uuid", options.uuid},
               {"address", address},
               {"interface", interface},
               {"target", SearchTarget(options)},
               {"status", options.status}});
}

std::string JsonEvent(const std::string& event, int64_t now) {
  return Line({{"event", event}, {"time", TimeText(now)}});
}

std::string JsonStatus(const std::string& status, int64_t now) {
  return Line({{"event", "announced"}, {"time", TimeText(now)}, {"status", status}});
}

std::string JsonPeer(const std::string& event, const Peer& peer, int64_t now) {
  Json object;
  if (!event.empty()) object["event"] = event;
  object["time"] = TimeText(now);
  object["uuid"] = peer.uuid;
  object["address"] = peer.address;
  object["status"] = peer.status;
  object["seen"] = TimeText(peer.seen);
  object["expires"] = TimeText(peer.expiry);
  return Line(object);
}

std::string JsonFinding(const std::string& check, const Finding& finding) {
  return Line({{"check", check},
               {"severity", SeverityName(finding.severity)},
               {"text", finding.text},
               {"remedy", finding.remedy}});
}

}  // namespace ssdp_peer

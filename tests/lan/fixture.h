// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_LAN_FIXTURE_H
#define LIBSSDP_TESTS_LAN_FIXTURE_H

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "lan.h"

// A time-out that no test lives to see: what happens before it is not its doing.
constexpr char kNever[] = "100000";

using Peer = std::unique_ptr<support::Program>;
using Options = std::vector<std::string>;

// Three hosts with the addresses 10.77.0.1 to 10.77.0.3.
class LanTest : public testing::Test {
 protected:
  // Starts a lamp on a host, with further options, and waits until it runs.
  Peer StartLamp(size_t host, const std::string& uuid, const Options& further = {}) {
    return StartPeer(host, "Lamp", uuid, further);
  }

  Peer StartPeer(size_t host, const std::string& type, const std::string& uuid,
                 const Options& further) {
    Options command = {LAN_PEER, "--domain", "example-org", "--type",   type, "--version",
                       "1",      "--uuid",   uuid,          "--status", "on"};
    command.insert(command.end(), {"--notify", kNever, "--mx", "1"});
    command.insert(command.end(), further.begin(), further.end());
    Peer peer = m_lan[host].Start(command);
    peer->Await("ready");
    return peer;
  }

  support::Lan m_lan{3};
};

// The lines that a peer prints, of a device on the host with the address 10.77.0.`host`.

inline std::string Device(const std::string& uuid, int host, const std::string& status = "on") {
  return '"' + uuid + "\" \"10.77.0." + std::to_string(host) + "\" \"" + status + '"';
}

inline std::string Was(int host, const std::string& status = "on") {
  return " was \"10.77.0." + std::to_string(host) + "\" \"" + status + '"';
}

inline std::string Added(const std::string& uuid, int host, const std::string& status = "on") {
  return "event 1 " + Device(uuid, host, status) + Was(host, status);
}

inline std::string Refreshed(const std::string& uuid, int host) {
  return "event 0 " + Device(uuid, host) + Was(host);
}

inline std::string Left(const std::string& uuid, int host) {
  return "event 2 " + Device(uuid, host);
}

// All that the peer has printed from line `from` on and that contains `text`.
inline std::vector<std::string> About(const std::string& text, support::Program& peer,
                                      size_t from = 0) {
  const auto& lines = peer.Lines();
  std::vector<std::string> found;
  for (size_t i = from; i < lines.size(); ++i)
    if (lines[i].find(text) != std::string::npos) found.push_back(lines[i]);
  return found;
}

// One row of a peer's table.
struct Row {
  std::string device;  // as Device() writes it
  long expiry = 0;
};

inline std::vector<Row> Table(support::Program& peer) {
  const size_t from = peer.Lines().size();
  peer.Tell("devices");
  const size_t end = peer.Await("end", from);
  std::vector<Row> table;
  for (size_t i = from; i < end; ++i) {
    const std::string& line = peer.Lines()[i];
    const size_t last = line.rfind(' ');
    if (line.rfind("device ", 0) == 0)
      table.push_back({line.substr(7, last - 7), std::stol(line.substr(last))});
  }
  return table;
}

inline std::vector<std::string> Devices(support::Program& peer) {
  std::vector<std::string> devices;
  for (const auto& row : Table(peer)) devices.push_back(row.device);
  return devices;
}

#endif

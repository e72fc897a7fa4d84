// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_SCRIPTED_SYSTEM_H
#define LIBSSDP_TESTS_SUPPORT_SCRIPTED_SYSTEM_H

#include <gmock/gmock.h>
#include <netinet/in.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "libssdp.h"
#include "peer.h"
#include "seam.h"
#include "settings.h"
#include "ssdpstorage.h"

namespace support {

// One datagram that was sent.
struct Sent {
  int socket;
  std::string data;
  int flags;
  std::string address;
  int port;
  size_t address_length;
};

// A system without network, threads and time: every call of the library succeeds, does nothing and
// writes its name to `log`. Sockets are numbered from 1000. Time stands still until the test moves
// it. A test changes single calls by setting seam::calls after construction.
class ScriptedSystem {
 public:
  ScriptedSystem();
  ~ScriptedSystem() { seam::Reset(); }
  ScriptedSystem(const ScriptedSystem&) = delete;
  ScriptedSystem& operator=(const ScriptedSystem&) = delete;

  // Has a later receive deliver `data`.
  void Deliver(const std::string& data, const char* address = "192.168.1.7", uint16_t port = 50000);

  // Has "get NAME" and "set NAME" in the log too, for every access to a hooked setting.
  void LogSettings();

  // Has "lock" and "unlock" in the log too, whatever the mutex.
  void LogLocks();

  std::vector<std::string> log;
  std::vector<Sent> sent;
  int sockets = 0;
  timeval now = {1794752579, 600000};  // Sun Nov 15 14:22:59 2026 UTC

  // Called by the receive that finds nothing more to deliver: stops the loop under test.
  std::function<void()> when_drained;

 private:
  struct Received {
    std::string data;
    sockaddr_in from;
  };

  void ScriptSockets();
  void ScriptThreads();
  void ScriptTime();
  ssize_t Receive(void* data, size_t size, sockaddr* from, socklen_t* length);

  std::deque<Received> m_incoming;
};

// What an engine callback was told.
struct Report {
  bool has_record;
  libSSDP::DeviceInfo record;
  bool alive;
  bool searched;
};

// Stands for the service object: a worker is given &Engine::Callback and an Engine as context.
struct Engine {
  static void Callback(void* context, libSSDP::DeviceInfo* device, bool alive, bool searched);

  std::vector<Report> reports;
  std::function<void()> on_report;
};

// Sets one setting of a store or of the service.
template <typename Config, typename Value>
void Set(libSSDP::SSDPDevice& device, Value Config::*field, const Value& value) {
  Config config;
  config.*field = value;
  ASSERT_EQ(device.SetConfig(config.m_name, config), 0);
}

// Reads one setting.
template <typename Config, typename Value>
Value Get(libSSDP::SSDPDevice& device, Value Config::*field) {
  Config config;
  EXPECT_EQ(device.GetConfig(config.m_name, config), 0);
  return config.*field;
}

// The settings behind the golden messages of the same name; templates are made by Init.
void SetLamp(libSSDP::SSDPDevice& device);
void SetPump(libSSDP::SSDPDevice& device);

}  // namespace support

#endif

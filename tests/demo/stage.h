// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_DEMO_STAGE_H
#define LIBSSDP_TESTS_DEMO_STAGE_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "lan.h"

// What a peer was told, in words.
struct Event {
  std::string host;
  std::string words;
  std::string uuid;
  std::string address;
  std::string status;
};

bool operator==(const Event& left, const Event& right);

// A row of a peer's table.
struct Device {
  std::string uuid;
  std::string address;
  std::string status;
};

bool operator==(const Device& left, const Device& right);

// Three hosts with a lamp each. Whatever the lamps are told is printed as it comes; what the demo
// promises is waited for and, when it doesn't come, noted as missing.
class Stage {
 public:
  Stage();

  // Prints what is done next. What is expected from here on must happen from here on.
  void Heading(const std::string& text);

  // What is done.
  void SwitchOn(const std::string& host, bool announcing);
  void SwitchOff(const std::string& host);
  void Search(const std::string& host);
  void SetStatus(const std::string& host, const std::string& status);
  void Kill(const std::string& host);
  void ChangeAddress(const std::string& host, const std::string& address);

  // What must be seen.
  void Expect(const Event& event);
  // Waits until the host's table has no such device any more, which no event tells of.
  void ExpectVanished(const std::string& host, const Device& device);
  // The host's table has no such device.
  void ExpectUnknown(const std::string& host, const std::string& uuid);
  // Prints the host's table as soon as it holds just these devices.
  void ExpectTable(const std::string& host, const std::vector<Device>& devices);

  // Prints how it went; true when nothing is missing.
  bool Conclude() const;

 private:
  struct Lamp {
    size_t number = 0;  // of the host on the LAN
    bool announcing = false;
    std::string status;
    std::unique_ptr<support::Program> program;
    size_t taken = 0;  // how many of the program's lines have been looked at
  };

  void Await(const std::string& promise, const std::function<bool()>& seen);
  // Whether there was such an event in this scene.
  bool Saw(const Event& event) const;
  void TakeEvents();
  void TakeLine(const std::string& host, const std::string& line);
  void Show(const Event& event);
  bool Holds(const std::string& host, const std::string& uuid);
  std::vector<Device> Table(const std::string& host);

  support::Lan m_lan{3};
  std::map<std::string, Lamp> m_lamps;  // by the host's name
  std::vector<Event> m_events;
  size_t m_scene = 0;  // how many events there were when the scene began
  size_t m_promised = 0;
  size_t m_unchanged = 0;
  std::vector<std::string> m_missing;
};

#endif

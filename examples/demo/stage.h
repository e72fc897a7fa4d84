// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_EXAMPLES_DEMO_STAGE_H
#define LIBSSDP_EXAMPLES_DEMO_STAGE_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "lan.h"

// What happened on a host, in words, and the device that it is about.
struct Event {
  std::string host;
  std::string words;
  std::string uuid;
  std::string address;
  std::string status;
};

bool operator==(const Event& left, const Event& right);

// Thrown when nobody reads standard output any more.
struct ReaderGone {};

// Three hosts with a lamp each, which is ssdp-peer. Whatever the lamps tell is printed as it comes;
// what the demo promises is waited for and, when it doesn't come, noted as missing.
class Stage {
 public:
  Stage();

  // Prints what is done next. What is expected from here on must happen from here on.
  void Heading(const std::string& text);

  // What is done. A lamp is on the network when SwitchOn returns.
  void SwitchOn(const std::string& host);
  void TypeStatus(const std::string& host, const std::string& status);
  void PressCtrlC(const std::string& host);
  void Kill(const std::string& host);
  void ChangeAddress(const std::string& host, const std::string& address);

  // What must be seen.
  void Expect(const Event& event);
  // A search on the host finds just these, each as "UUID address status"; prints its table.
  void ExpectTable(const std::string& host, const std::vector<std::string>& devices);

  // Prints how it went; true when nothing is missing.
  bool Conclude() const;

 private:
  using Command = std::vector<std::string>;
  struct Lamp {
    size_t number = 0;  // of the host on the LAN
    Command command;
    size_t since = 0;  // which of all the lamps that were switched on this one is
    std::unique_ptr<support::Program> program;
    size_t taken = 0;  // how many of the program's lines have been looked at
    bool started = false;
    bool searching = false;  // its own search, the first that it hears, is still to come
    std::string status;
    std::map<std::string, Event> seen;  // by UUID, the last that it told of each
  };

  void Promise(bool kept, const std::string& promise);
  // Shows what happens until `done`, or for so long that it won't come any more.
  bool Await(const std::function<bool()>& done);
  void TakeEvents();
  void TakeLine(const std::string& host, const std::string& line);
  void TakeNews(const std::string& kind, Event event);
  void Show(const Event& event);

  support::Lan m_lan{3};
  // By the host's name. Heard from the last to the first, so that who announces or answers mostly
  // comes before who hears of it.
  std::map<std::string, Lamp, std::greater<>> m_lamps;
  std::vector<Event> m_events;
  size_t m_scene = 0;  // how many events there were when the scene began
  size_t m_switched_on = 0;
  size_t m_promised = 0;
  size_t m_unchanged = 0;
  std::vector<std::string> m_missing;
};

#endif

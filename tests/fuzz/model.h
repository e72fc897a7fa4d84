// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_FUZZ_MODEL_H
#define LIBSSDP_TESTS_FUZZ_MODEL_H

#include <cstdint>
#include <map>
#include <string>

#include "lines.h"
#include "world.h"

namespace fuzz {

// What the application sets.
struct Settings {
  std::string domain = "schemas-example-org";
  std::string type = "Light";
  std::string version = "1";
  std::string agent = "agent";
  std::string server = "server";
  std::string uuid = "own";
  std::string status = "ok";
  int search_timeout = 3;
  int notify_timeout = 1800;
};

// What the store makes of it when the service starts.
struct Templates {
  std::string target, msearch, notify, response;
};

// A second, plain account of what the service does, written from its behaviour and sharing no code
// with it: the judge of what the library did.
class Model {
 public:
  using Table = std::map<std::string, libSSDP::DeviceInfo>;

  explicit Model(const Chance& chance) : m_chance(chance) {}

  Settings settings;
  Templates templates;
  Table table;

  void Initialize();
  bool Announce(const std::string& nts);  // whether a message leaves
  bool Search();
  void HearGroup(const Arrival& arrival);
  void HearUnicast(const Arrival& arrival);
  void Pass(bool announces);  // one pass of the service's loop
  bool IsAnnounceDue(int64_t last) const;

  Lines Happened();

 private:
  bool Send(const char* socket, const std::string& address, unsigned port,
            const std::string& message);
  void Tell(unsigned event, const libSSDP::DeviceInfo* old, const libSSDP::DeviceInfo* new_device);
  void Answer(const std::string& text, const Arrival& arrival);
  bool Read(const std::string& text, bool short_status_is_empty, const Arrival& arrival,
            libSSDP::DeviceInfo& device) const;
  void Alive(const libSSDP::DeviceInfo& device);
  void Gone(const libSSDP::DeviceInfo& device);

  const Chance& m_chance;
  Lines m_log;
};

// Puts `value` behind the first `marker` in `text`, or, without one, at index length - 1. False and
// no change when that lies beyond the end.
bool Insert(std::string& text, const std::string& marker, const std::string& value);

// As a C program's atoi reads it, with int's limits where the number is beyond them.
int Number(const std::string& text);

}  // namespace fuzz

#endif

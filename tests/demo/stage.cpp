// SPDX-License-Identifier: MIT
#include "stage.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <tuple>

namespace {

const char* Colour(const char* code) {
  static const bool terminal = isatty(STDOUT_FILENO) == 1;
  return terminal ? code : "";
}

std::string Clock() {
  timeval now;
  gettimeofday(&now, nullptr);
  tm parts;
  char text[16];
  localtime_r(&now.tv_sec, &parts);
  const size_t length = std::strftime(text, sizeof(text), "%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof(text) - length, ".%03d",
                static_cast<int>(now.tv_usec / 1000));
  return text;
}

// A peer's line cut at its quotes, which its texts don't contain: every second part is a text.
std::vector<std::string> CutAtQuotes(const std::string& line) {
  std::vector<std::string> parts;
  for (size_t start = 0;;) {
    const size_t end = line.find('"', start);
    parts.push_back(line.substr(start, end - start));
    if (end == std::string::npos) return parts;
    start = end + 1;
  }
}

std::string InWords(const Event& event) {
  return event.host + ": " + event.words + ' ' + event.uuid + ' ' + event.address + ' ' +
         event.status;
}

}  // namespace

bool operator==(const Device& left, const Device& right) {
  return std::tie(left.uuid, left.address, left.status) ==
         std::tie(right.uuid, right.address, right.status);
}

bool operator==(const Event& left, const Event& right) {
  return std::tie(left.host, left.words, left.uuid, left.address, left.status) ==
         std::tie(right.host, right.words, right.uuid, right.address, right.status);
}

Stage::Stage() {
  m_lamps["hall"].number = 1;
  m_lamps["kitchen"].number = 2;
  m_lamps["cellar"].number = 3;
}

void Stage::Heading(const std::string& text) {
  TakeEvents();
  std::printf("\n%s%s%s\n", Colour("\033[1m"), text.c_str(), Colour("\033[0m"));
  std::fflush(stdout);
  m_scene = m_events.size();
}

void Stage::SwitchOn(const std::string& host, bool announcing) {
  std::vector<std::string> command = {
      LAN_PEER, "--domain",     "example-org", "--type", "Lamp", "--version", "1",
      "--uuid", "lamp-" + host, "--status",    "on",     "--mx", "1",         "--notify"};
  // One that announces nothing would be forgotten between two searches.
  command.push_back(announcing ? "2" : "600");
  if (announcing) command.push_back("--announce");
  Lamp& lamp = m_lamps.at(host);
  lamp.announcing = announcing;
  lamp.status = "on";
  lamp.program = m_lan[lamp.number].Start(command);
  lamp.taken = 0;
}

void Stage::SwitchOff(const std::string& host) {
  m_lamps.at(host).program->Tell("quit");
}

void Stage::Search(const std::string& host) {
  m_lamps.at(host).program->Tell("search");
}

void Stage::SetStatus(const std::string& host, const std::string& status) {
  m_lamps.at(host).program->Tell("status " + status);
  m_lamps.at(host).status = status;
}

void Stage::Kill(const std::string& host) {
  m_lamps.at(host).program->Signal(SIGKILL);
}

void Stage::ChangeAddress(const std::string& host, const std::string& address) {
  m_lan[m_lamps.at(host).number].ChangeAddress(address);
}

void Stage::Await(const std::string& promise, const std::function<bool()>& seen) {
  ++m_promised;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (TakeEvents(); !seen(); TakeEvents()) {
    if (std::chrono::steady_clock::now() > deadline) return m_missing.push_back(promise);
    usleep(20000);
  }
}

void Stage::Expect(const Event& event) {
  Await(InWords(event), [&] { return Saw(event); });
}

bool Stage::Saw(const Event& event) const {
  return std::count(m_events.begin() + static_cast<long>(m_scene), m_events.end(), event) > 0;
}

void Stage::TakeEvents() {
  for (auto& [host, lamp] : m_lamps) {
    if (lamp.program == nullptr) continue;
    for (const auto& lines = lamp.program->Lines(); lamp.taken < lines.size(); ++lamp.taken)
      TakeLine(host, lines[lamp.taken]);
  }
}

void Stage::TakeLine(const std::string& host, const std::string& line) {
  const auto part = CutAtQuotes(line);
  const std::string& kind = part[0];
  const bool old = part.size() > 9;
  if (kind == "event 8") {  // has no record: what is searched for is this lamp itself
    const Lamp& lamp = m_lamps.at(host);
    return Show(
        {host, "answers a search", "lamp-" + host, m_lan[lamp.number].Address(), lamp.status});
  }
  if (part.size() < 6 || kind.rfind("event", 0) != 0) return;
  Event event = {host, "", part[1], part[3], part[5]};
  if (kind == "event 1 ") {
    const bool announced = m_lamps.at(part[1].substr(5)).announcing;
    event.words = announced ? "appears by announcement" : "appears by search";
  }
  if (kind == "event 2 ") event.words = "says goodbye";
  if (kind == "event 4 " && old) event.words = "address changes, was " + part[7];
  if (kind == "event 0 " && old && part[9] != part[5])
    event.words = "status changes, was " + part[9];
  if (event.words.empty())
    ++m_unchanged;
  else
    Show(event);
}

void Stage::Show(const Event& event) {
  const char* colour = "";
  if (event.words.rfind("appears", 0) == 0) colour = Colour("\033[32m");
  if (event.words.find("changes") != std::string::npos) colour = Colour("\033[33m");
  if (event.words == "says goodbye" || event.words == "vanishes, no event")
    colour = Colour("\033[31m");
  std::printf("  %s  %-8s %s%-31s%s %-13s %-11s %s\n", Clock().c_str(), event.host.c_str(), colour,
              event.words.c_str(), Colour("\033[0m"), event.uuid.c_str(), event.address.c_str(),
              event.status.c_str());
  std::fflush(stdout);
  m_events.push_back(event);
}

std::vector<Device> Stage::Table(const std::string& host) {
  support::Program& program = *m_lamps.at(host).program;
  const size_t from = program.Lines().size();
  program.Tell("devices");
  const size_t end = program.Await("end", from);
  std::vector<Device> table;
  for (size_t i = from; i < end; ++i) {
    const auto part = CutAtQuotes(program.Lines()[i]);
    if (part[0] == "device ") table.push_back({part[1], part[3], part[5]});
  }
  return table;
}

bool Stage::Holds(const std::string& host, const std::string& uuid) {
  const auto table = Table(host);
  return std::any_of(table.begin(), table.end(),
                     [&](const Device& device) { return device.uuid == uuid; });
}

void Stage::ExpectUnknown(const std::string& host, const std::string& uuid) {
  ++m_promised;
  if (Holds(host, uuid)) m_missing.push_back(host + ": does not know of " + uuid);
}

void Stage::ExpectVanished(const std::string& host, const Device& device) {
  const Event event = {host, "vanishes, no event", device.uuid, device.address, device.status};
  const size_t missing = m_missing.size();
  Await(InWords(event), [&] { return !Holds(host, device.uuid); });
  const Event goodbye = {host, "says goodbye", device.uuid, device.address, device.status};
  if (Saw(goodbye)) m_missing.push_back(InWords(event));
  if (m_missing.size() == missing) Show(event);
}

void Stage::ExpectTable(const std::string& host, const std::vector<Device>& devices) {
  std::vector<Device> table;
  Await(host + ": the table", [&] { return (table = Table(host)) == devices; });
  for (const auto& device : table)
    std::printf("  %-8s %-13s %-11s %s\n", host.c_str(), device.uuid.c_str(),
                device.address.c_str(), device.status.c_str());
  std::puts("");
}

bool Stage::Conclude() const {
  std::printf("%zu announcements and answers that changed nothing were not shown.\n", m_unchanged);
  if (m_missing.empty()) {
    std::printf("All %zu things that this demo promises were seen.\n", m_promised);
    return true;
  }
  std::printf("%zu of %zu things that this demo promises were not seen:\n", m_missing.size(),
              m_promised);
  for (const auto& promise : m_missing) std::printf("  %s\n", promise.c_str());
  return false;
}

// SPDX-License-Identifier: MIT
#include "stage.h"

#include <poll.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience(10);

// By the custom of no-color.org; a dumb terminal would show the codes as text.
bool WantColor() {
  const char* no_color = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  if (no_color != nullptr && *no_color != '\0') return false;
  return isatty(STDOUT_FILENO) == 1 && terminal != nullptr && std::string(terminal) != "dumb";
}

const char* Color(const char* code) {
  static const bool wanted = WantColor();
  return wanted ? code : "";
}

// SIGPIPE, which would end us, is ignored for the programs that we talk to.
void CheckReader() {
  pollfd output = {STDOUT_FILENO, 0, 0};
  if (poll(&output, 1, 0) > 0 && (output.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0)
    throw ReaderGone();
}

std::string TimeOfDay() {
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

std::string InWords(const Event& event) {
  return event.host + ": " + event.words + ' ' + event.uuid + ' ' + event.address + ' ' +
         event.status;
}

// As a person would type it, in lines that a terminal has room for.
void PrintCommand(const std::string& host, const std::vector<std::string>& arguments) {
  std::string line = host + "$ ssdp-peer";
  size_t start = 0;
  for (const auto& word : arguments) {
    if (line.size() + word.size() - start > 77) {
      start = line.size();
      line += " \\\n   ";
    }
    line += ' ' + word;
  }
  std::printf("%s%s%s\n", Color("\033[36m"), line.c_str(), Color("\033[0m"));
  std::fflush(stdout);
}

// What a search has printed, a line for each device as it answered, by UUID.
std::vector<std::string> Sorted(std::vector<std::string> lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace

bool operator==(const Event& left, const Event& right) {
  return std::tie(left.host, left.words, left.uuid, left.address, left.status) ==
         std::tie(right.host, right.words, right.uuid, right.address, right.status);
}

// The cellar's lamp announces itself every second, so that its death is noticed soon. The others do
// so once and then every ten minutes: a lamp that starts later finds them by its search only.
Stage::Stage() {
  const auto lamp = [this](const std::string& host, size_t number, const char* verb,
                           const char* timeout) {
    m_lamps[host].number = number;
    m_lamps[host].command = {
        verb,        "--device-type",    "Lamp", "--uuid", "lamp-" + host, "--status", "on",
        "--verbose", "--notify-timeout", timeout};
  };
  lamp("hall", 1, "watch", "1800");
  lamp("kitchen", 2, "announce", "1800");
  lamp("cellar", 3, "watch", "3");
}

void Stage::Heading(const std::string& text) {
  TakeEvents();
  std::printf("\n%s%s%s\n", Color("\033[1m"), text.c_str(), Color("\033[0m"));
  std::fflush(stdout);
  m_scene = m_events.size();
}

void Stage::SwitchOn(const std::string& host) {
  Lamp& lamp = m_lamps.at(host);
  PrintCommand(host, lamp.command);
  Command command = {SSDP_PEER, "--json"};
  command.insert(command.end(), lamp.command.begin(), lamp.command.end());
  lamp.program = m_lan[lamp.number].Start(command);
  lamp.taken = 0;
  lamp.started = false;
  lamp.searching = lamp.command.front() == "watch";
  lamp.since = ++m_switched_on;
  if (!Await([&] { return lamp.started; }))
    throw std::runtime_error(host + "'s lamp doesn't start");
}

void Stage::TypeStatus(const std::string& host, const std::string& status) {
  m_lamps.at(host).program->Tell(status);
}

void Stage::PressCtrlC(const std::string& host) {
  support::Program& program = *m_lamps.at(host).program;
  program.Signal(SIGINT);
  Promise(program.Wait() == 0, host + ": ssdp-peer ends with exit status 0");
}

void Stage::Kill(const std::string& host) {
  m_lamps.at(host).program->Signal(SIGKILL);
}

void Stage::ChangeAddress(const std::string& host, const std::string& address) {
  m_lan[m_lamps.at(host).number].ChangeAddress(address);
}

void Stage::Promise(bool kept, const std::string& promise) {
  ++m_promised;
  if (!kept) m_missing.push_back(promise);
}

bool Stage::Await(const std::function<bool()>& done) {
  const auto deadline = Clock::now() + kPatience;
  for (TakeEvents(); !done(); TakeEvents()) {
    CheckReader();
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

void Stage::Expect(const Event& event) {
  const auto seen = [&] {
    return std::count(m_events.begin() + static_cast<long>(m_scene), m_events.end(), event) > 0;
  };
  Promise(Await(seen), InWords(event));
}

void Stage::TakeEvents() {
  for (auto& [host, lamp] : m_lamps) {
    if (lamp.program == nullptr) continue;
    for (const auto& lines = lamp.program->Lines(); lamp.taken < lines.size(); ++lamp.taken)
      TakeLine(host, lines[lamp.taken]);
  }
}

void Stage::TakeLine(const std::string& host, const std::string& line) {
  const auto object = nlohmann::json::parse(line);
  const auto text = [&](const char* name) { return object.value(name, ""); };
  const std::string kind = text("event");
  Lamp& lamp = m_lamps.at(host);
  if (kind == "started") lamp.started = true;
  if (kind == "started" || kind == "announced") lamp.status = text("status");
  if (object.contains("seen"))
    return TakeNews(kind, {host, "", text("uuid"), text("address"), text("status")});
  // What it tells of itself.
  const Event own = {host, "", "lamp-" + host, m_lan[lamp.number].Address(), lamp.status};
  if (kind != "started") TakeNews(kind, own);
}

void Stage::TakeNews(const std::string& kind, Event event) {
  Lamp& lamp = m_lamps.at(event.host);
  Event& before = lamp.seen[event.uuid];
  if (kind == "announced") event.words = "announces itself";
  if (kind == "searched") {
    if (std::exchange(lamp.searching, false)) return;  // it answers itself, which is no news
    event.words = "answers a search";
  }
  // One that was there first has announced nothing since.
  if (kind == "new")
    event.words = m_lamps.at(event.uuid.substr(5)).since < lamp.since ? "appears by search"
                                                                      : "appears by announcement";
  if (kind == "changed")
    event.words = event.address != before.address ? "address changes, was " + before.address
                                                  : "status changes, was " + before.status;
  if (kind == "left") event.words = "sends a byebye";
  if (kind == "expired") event.words = "expires without a byebye";
  before = event;
  if (event.words.empty())
    ++m_unchanged;
  else
    Show(event);
}

void Stage::Show(const Event& event) {
  const char* color = "";
  if (event.words.rfind("appears", 0) == 0) color = Color("\033[32m");
  if (event.words.find("changes") != std::string::npos) color = Color("\033[33m");
  if (event.words.find("byebye") != std::string::npos) color = Color("\033[31m");
  std::printf("%s  %-8s%s%-30s%s %-12s %-10s %s\n", TimeOfDay().c_str(), event.host.c_str(), color,
              event.words.c_str(), Color("\033[0m"), event.uuid.c_str(), event.address.c_str(),
              event.status.c_str());
  std::fflush(stdout);
  m_events.push_back(event);
}

// Searches again while the table isn't the one expected: an answer may be late, or get lost.
void Stage::ExpectTable(const std::string& host, const std::vector<std::string>& devices) {
  const Command arguments = {"search", "--device-type", "Lamp", "--mx", "1"};
  PrintCommand(host, arguments);
  Command command = {SSDP_PEER};
  command.insert(command.end(), arguments.begin(), arguments.end());
  std::unique_ptr<support::Program> search;
  bool kept = false;
  for (const auto deadline = Clock::now() + kPatience; !kept && Clock::now() < deadline;) {
    search = m_lan[m_lamps.at(host).number].Start(command);
    kept = search->Wait() == 0 && Sorted(search->Lines()) == devices;
  }
  for (const auto& line : search->Lines()) std::printf("%s\n", line.c_str());
  std::puts("");
  Promise(kept, host + ": the table");
}

bool Stage::Conclude() const {
  std::printf("Announcements that changed nothing, and so are not shown: %zu.\n", m_unchanged);
  if (m_missing.empty()) {
    std::printf("All %zu things that this demo promises were seen.\n", m_promised);
    return true;
  }
  std::printf("%zu of %zu things that this demo promises were not seen:\n", m_missing.size(),
              m_promised);
  for (const auto& promise : m_missing) std::printf("  %s\n", promise.c_str());
  return false;
}

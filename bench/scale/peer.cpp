// SPDX-License-Identifier: MIT
// peer NUMBER seeded|unseeded: one host of the library among many, told what to do on its standard
// input. What it has heard it keeps, and prints only when it ends, so that printing is no part of
// what is measured. Its commands:
//
//     start TIME-OUT  makes and initialises the service; above 0 it announces by itself
//     search MX       sends one search, and says nothing
//     stats           prints what the process and its network stand at, one line
//     queue           prints how much waits in the group socket and how much it has lost
//     quit            says goodbye and prints the log: "event NANOSECONDS EVENT PEER THREAD" lines
//
// Each but the search is confirmed with a line "done".
#include <libssdp.h>
#include <malloc.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>

#include "messages.h"

namespace {

struct Event {
  int64_t time;       // nanoseconds of the clock that all processes of the machine share
  uint32_t peer;      // the start of its UUID, which tells peers apart
  uint16_t event;     // as the library says it
  bool from_handler;  // an answer to our search, no announcement
};

// Static, so that only what is used of it takes memory, and none of it on the heap.
std::array<Event, 100000> events;
std::atomic<size_t> event_count{0};

bool started = false;

void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event, void*) {
  char thread[16] = "";
  prctl(PR_GET_NAME, thread);
  Event entry{};
  entry.time = std::chrono::steady_clock::now().time_since_epoch().count();
  if (device != nullptr)
    entry.peer = static_cast<uint32_t>(std::strtoul(device->m_uuid.c_str(), nullptr, 16));
  entry.event = static_cast<uint16_t>(event);
  entry.from_handler = std::string(thread) == "ssdp-handler";
  const size_t index = event_count++;
  if (index < events.size()) events[index] = entry;
}

void Start(int number, int timeout) {
  libSSDP::CreateSSDP(timeout > 0);
  libSSDP::SetDomainName(bench::kDomain);
  libSSDP::SetDeviceType(bench::kType);
  libSSDP::SetVersionInfo(bench::kVersion);
  libSSDP::SetUserAgent("example/1");
  libSSDP::SetServerInfo("example/1");
  libSSDP::SetUUID(bench::Uuid(number));
  libSSDP::SetStatus(bench::kStatus);
  libSSDP::SetNotifyTimeOut(timeout > 0 ? timeout : 1800);
  libSSDP::SetCallback(OnEvent, nullptr);
  libSSDP::Initialize();
  started = true;
}

// --- What the process and its network stand at.

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// The number behind `key` in a file of the system, as "Pss:  123 kB".
int64_t Lookup(const char* file, const std::string& key) {
  std::ifstream stream(file);
  for (std::string word; stream >> word;) {
    int64_t number = 0;
    if (word == key && stream >> number) return number;
  }
  return -1;
}

// A counter of the network's UDP: one line has the names, the next the numbers.
int64_t Udp(const std::string& name) {
  std::ifstream stream("/proc/self/net/snmp");
  std::string line;
  std::string names;
  while (std::getline(stream, line) && line.rfind("Udp:", 0) != 0) continue;
  names = line;
  std::getline(stream, line);
  std::istringstream columns(names);
  std::istringstream numbers(line);
  for (std::string column, number; columns >> column && numbers >> number;)
    if (column == name) return std::stoll(number);
  return -1;
}

// Of eth0: received bytes and packets, sent bytes and packets.
void PrintLink() {
  std::ifstream stream("/proc/self/net/dev");
  for (std::string line; std::getline(stream, line);) {
    std::istringstream columns(line);
    std::array<std::string, 11> column;
    for (auto& text : column) columns >> text;
    if (column[0] == "eth0:")
      std::printf(" rx_bytes %s rx_frames %s tx_bytes %s tx_frames %s", column[1].c_str(),
                  column[2].c_str(), column[9].c_str(), column[10].c_str());
  }
}

size_t Known() {
  if (!started) return 0;
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  libSSDP::GetDevices(devices);
  return devices.size();
}

void PrintStats() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto heap = mallinfo2();  // before what the rest allocates
  std::printf("stats user %.6f system %.6f heap %zu", Seconds(usage.ru_utime),
              Seconds(usage.ru_stime), heap.uordblks);
  std::printf(" rss_kib %lld pss_kib %lld",
              static_cast<long long>(Lookup("/proc/self/smaps_rollup", "Rss:")),
              static_cast<long long>(Lookup("/proc/self/smaps_rollup", "Pss:")));
  PrintLink();
  for (const char* name : {"InDatagrams", "OutDatagrams", "RcvbufErrors", "SndbufErrors"})
    std::printf(" %s %lld", name, static_cast<long long>(Udp(name)));
  std::printf(" known %zu events %zu", Known(), event_count.load());
  getrusage(RUSAGE_SELF, &usage);  // what this cost is nobody's
  std::printf(" user_after %.6f system_after %.6f\n", Seconds(usage.ru_utime),
              Seconds(usage.ru_stime));
}

// A line of the system's list of UDP sockets: local address and port in hexadecimal, further on
// the bytes that wait and, last, the datagrams that were dropped.
void PrintQueue() {
  std::ifstream stream("/proc/self/net/udp");
  for (std::string line; std::getline(stream, line);) {
    std::istringstream columns(line);
    std::string slot, local, remote, state, queues, drops;
    columns >> slot >> local >> remote >> state >> queues;
    for (std::string column; columns >> column;) drops = column;
    if (local.find(":076C") == std::string::npos) continue;
    const auto waiting = std::strtoul(queues.substr(queues.find(':') + 1).c_str(), nullptr, 16);
    std::printf("queue %lu drops %s\n", waiting, drops.c_str());
    return;
  }
  std::puts("no queue");
}

void PrintEvents() {
  const size_t count = event_count;
  if (count > events.size()) std::printf("log full: %zu lost\n", count - events.size());
  for (size_t i = 0; i < count && i < events.size(); ++i)
    std::printf("event %lld %u %08x %s\n", static_cast<long long>(events[i].time), events[i].event,
                events[i].peer, events[i].from_handler ? "handler" : "listener");
}

void Obey(int number, const std::string& line) {
  std::istringstream words(line);
  std::string command;
  int argument = 0;
  words >> command >> argument;
  if (command == "start") {
    Start(number, argument);
  } else if (command == "search") {
    libSSDP::SetMSearchTimeOut(argument);
    libSSDP::Search();
    return;
  } else if (command == "stats") {
    PrintStats();
  } else if (command == "queue") {
    PrintQueue();
  }
  std::puts("done");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (std::string(argv[2]) == "seeded") std::srand(std::random_device()());
  for (std::string line; std::getline(std::cin, line) && line != "quit";)
    Obey(std::atoi(argv[1]), line);
  if (libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS) return 1;
  PrintEvents();
  std::puts("end");
  return libSSDP::DestroySSDP();
}

// SPDX-License-Identifier: MIT
// A host of the library that is steered through its standard input and tells on its standard output
// all that it is told. Its commands:
//
//     search, announce      one of each
//     status TEXT           sets the status that goes with the next message
//     devices               prints the table: a line "device ..." for each, then "end"
//     quit                  says goodbye and ends; so do the end of the input and SIGTERM
#include <getopt.h>
#include <libssdp.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <string>

namespace {

// Texts come from the network: on a terminal none of them may do more than be read.
std::string Quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    char escaped[5] = {c};
    if (c < ' ' || c > '~' || c == '"' || c == '\\')
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<unsigned char>(c));
    result += escaped;
  }
  return result + '"';
}

std::string Described(const libSSDP::DeviceInfo& device) {
  return Quoted(device.m_uuid) + ' ' + Quoted(device.m_address) + ' ' + Quoted(device.m_status);
}

// What the callback was last told of each device. The library's own records may not be read here:
// they can change at any time.
std::mutex known_mutex;
std::map<std::string, libSSDP::DeviceInfo> known;

void OnEvent(const libSSDP::DeviceInfo* old, libSSDP::DeviceInfo* device, unsigned int event,
             void*) {
  std::string line = "event " + std::to_string(event);
  if (device != nullptr) {
    const std::lock_guard<std::mutex> lock(known_mutex);
    known[device->m_uuid] = *device;
    line += ' ' + Described(*device);
  }
  if (old != nullptr) line += " was " + Quoted(old->m_address) + ' ' + Quoted(old->m_status);
  std::puts(line.c_str());
}

void PrintDevices() {
  std::map<std::string, libSSDP::DeviceInfo*> devices;
  libSSDP::GetDevices(devices);
  const std::lock_guard<std::mutex> lock(known_mutex);
  for (const auto& entry : devices) {
    const auto& device = known[entry.first];
    std::printf("device %s %d\n", Described(device).c_str(), device.m_expiry);
  }
  std::puts("end");
}

void Obey(const std::string& command) {
  if (command == "search")
    libSSDP::Search();
  else if (command == "announce")
    libSSDP::Announce();
  else if (command.rfind("status ", 0) == 0)
    libSSDP::SetStatus(command.substr(7));
  else if (command == "devices")
    PrintDevices();
  else
    std::puts("unknown command");
}

// Every option but --announce is the setter of the same name.
bool Configure(int argc, char** argv) {
  static const option options[] = {{"announce", no_argument, nullptr, 'a'},
                                   {"uuid", required_argument, nullptr, 'u'},
                                   {"domain", required_argument, nullptr, 'd'},
                                   {"type", required_argument, nullptr, 't'},
                                   {"version", required_argument, nullptr, 'v'},
                                   {"status", required_argument, nullptr, 's'},
                                   {"notify", required_argument, nullptr, 'n'},
                                   {"mx", required_argument, nullptr, 'm'},
                                   {"agent", required_argument, nullptr, 'g'},
                                   {"server", required_argument, nullptr, 'r'},
                                   {nullptr, 0, nullptr, 0}};
  for (int option; (option = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    if (option == 'u') libSSDP::SetUUID(optarg);
    if (option == 'd') libSSDP::SetDomainName(optarg);
    if (option == 't') libSSDP::SetDeviceType(optarg);
    if (option == 'v') libSSDP::SetVersionInfo(optarg);
    if (option == 's') libSSDP::SetStatus(optarg);
    if (option == 'n') libSSDP::SetNotifyTimeOut(std::stoi(optarg));
    if (option == 'm') libSSDP::SetMSearchTimeOut(std::stoi(optarg));
    if (option == 'g') libSSDP::SetUserAgent(optarg);
    if (option == 'r') libSSDP::SetServerInfo(optarg);
    if (option == '?') return false;
  }
  return true;
}

bool WantsToAnnounce(int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    if (std::string(argv[i]) == "--announce") return true;
  return false;
}

// Ends the input, and with it the loop that reads it.
void OnTerminate(int) {
  close(STDIN_FILENO);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  struct sigaction action = {};
  action.sa_handler = OnTerminate;  // without SA_RESTART: a read in progress ends too
  sigaction(SIGTERM, &action, nullptr);
  std::srand(std::random_device()());  // the library leaves that to us; peers alike answer at once

  libSSDP::CreateSSDP(WantsToAnnounce(argc, argv));
  if (!Configure(argc, argv)) return 2;
  libSSDP::SetCallback(OnEvent, nullptr);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) return 1;
  std::puts("ready");

  for (std::string command; std::getline(std::cin, command) && command != "quit";) Obey(command);
  if (libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS) return 1;
  std::puts("stopped");
  return libSSDP::DestroySSDP();
}

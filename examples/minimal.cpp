// SPDX-License-Identifier: MIT
// A lamp that finds the other lamps on the network and is found by them. Ends with Ctrl-C.
#include <libssdp.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

static void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
                     void*) {
  if (event != libSSDP::SSDP_DEVICE_ADDED && event != libSSDP::SSDP_DEVICE_REMOVED) return;
  std::string uuid = device->m_uuid;
  for (char& byte : uuid) byte = byte < ' ' || byte > '~' ? '?' : byte;  // safe on a terminal
  const char* news = event == libSSDP::SSDP_DEVICE_ADDED ? "is here" : "has left";
  std::printf("%s %s: %s\n", uuid.c_str(), news, device->m_address.c_str());
  std::fflush(stdout);
}

int main(int argc, char** argv) {
  sigset_t stop;  // blocked before the library's threads start, and waited for below
  sigemptyset(&stop);
  for (const int number : {SIGINT, SIGTERM}) sigaddset(&stop, number);
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  const std::string uuid = argc > 1 ? argv[1] : "lamp-1";  // a real device has one of its own
  std::srand(static_cast<unsigned>(std::hash<std::string>()(uuid)));  // lamps answer at other times
  if (libSSDP::CreateSSDP(true) != libSSDP::SSDP_SUCCESS) return 1;
  libSSDP::SetDomainName("example-org");
  libSSDP::SetDeviceType("Lamp");
  libSSDP::SetVersionInfo("1");
  libSSDP::SetUUID(uuid);
  libSSDP::SetStatus("on");
  libSSDP::SetNotifyTimeOut(30);
  libSSDP::SetMSearchTimeOut(1);
  libSSDP::SetCallback(OnDevice, nullptr);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) std::_Exit(1);
  libSSDP::Search();  // those that are here already
  int signal;
  sigwait(&stop, &signal);
  if (libSSDP::Uninitialize() == libSSDP::SSDP_SUCCESS) libSSDP::DestroySSDP();
}

// SPDX-License-Identifier: MIT
// A lamp that finds the other lamps on the network and is found by them. Ends with Ctrl-C.
#include <libssdp.h>

#include <csignal>
#include <cstdio>

static void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
                     void*) {
  if (event == libSSDP::SSDP_DEVICE_ADDED)
    std::printf("%s is here: %s\n", device->m_uuid.c_str(), device->m_address.c_str());
  if (event == libSSDP::SSDP_DEVICE_REMOVED) std::printf("%s has left\n", device->m_uuid.c_str());
  std::fflush(stdout);
}

int main(int argc, char** argv) {
  sigset_t stop;  // blocked before the library's threads start, and waited for below
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  sigprocmask(SIG_BLOCK, &stop, nullptr);

  libSSDP::CreateSSDP(true);
  libSSDP::SetDomainName("example-org");
  libSSDP::SetDeviceType("Lamp");
  libSSDP::SetVersionInfo("1");
  libSSDP::SetUUID(argc > 1 ? argv[1] : "lamp-1");  // a real device has one of its own
  libSSDP::SetStatus("on");
  libSSDP::SetNotifyTimeOut(30);
  libSSDP::SetCallback(OnDevice, nullptr);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) return 1;

  int signal;
  sigwait(&stop, &signal);
  libSSDP::Uninitialize();
  libSSDP::DestroySSDP();
}

// SPDX-License-Identifier: MIT
// An application that links the library statically and uses it from the constructor to the
// destructor of a global object: before and after main. Linked first, so that its globals are
// initialized before those of the library that ask for no priority.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "libssdp.h"
#include "private_network.h"

namespace {

std::string skipped;
std::atomic<bool> heard{false};
std::atomic<bool> searched{false};

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::printf("FAILED: %s\n", what);
  std::fflush(stdout);
  std::_Exit(1);
}

void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event, void*) {
  if (event == libSSDP::SSDP_SEARCH_RECEIVED) searched = true;
  if (event != libSSDP::SSDP_DEVICE_ADDED) return;
  Expect(device->m_uuid == "1234", "the own UUID is read back");
  Expect(device->m_status == "a status too long to be kept without memory", "so is the status");
  heard = true;
}

void SetEverything() {
  Expect(libSSDP::SetNetworkInterface("lo") == 0, "SetNetworkInterface");
  Expect(libSSDP::SetDomainName("schemas-example-org") == 0, "SetDomainName");
  Expect(libSSDP::SetDeviceType("Light") == 0, "SetDeviceType");
  Expect(libSSDP::SetVersionInfo("1") == 0, "SetVersionInfo");
  Expect(libSSDP::SetUserAgent("agent") == 0, "SetUserAgent");
  Expect(libSSDP::SetServerInfo("server") == 0, "SetServerInfo");
  Expect(libSSDP::SetUUID("1234") == 0, "SetUUID");
  Expect(libSSDP::SetStatus("a status too long to be kept without memory") == 0, "SetStatus");
  Expect(libSSDP::SetNotifyTimeOut(1800) == 0, "SetNotifyTimeOut");
  Expect(libSSDP::SetMSearchTimeOut(1) == 0, "SetMSearchTimeOut");
}

class Device {
 public:
  Device() {
    skipped = support::EnterPrivateNetwork();
    if (!skipped.empty()) return;
    Expect(libSSDP::CreateSSDP(true) == 0, "CreateSSDP");
    SetEverything();
    Expect(libSSDP::SetCallback(OnEvent, nullptr) == 0, "SetCallback");
    Expect(libSSDP::Initialize() == 0, "Initialize");
  }
  ~Device() {
    if (!skipped.empty()) return;
    Expect(libSSDP::Uninitialize() == 0, "Uninitialize");
    Expect(libSSDP::DestroySSDP() == 0, "DestroySSDP");
  }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;
} device;

bool Await(const std::atomic<bool>& event) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!event && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return event;
}

}  // namespace

int main() {
  if (!skipped.empty()) {
    std::printf("SKIPPED, no private network: %s\n", skipped.c_str());
    return std::getenv("LIBSSDP_REQUIRE_NETWORK") != nullptr ? 1 : 77;
  }
  // Every setting has the name under which the constructor registered it.
  SetEverything();
  Expect(Await(heard), "the own announcement comes back");
  Expect(libSSDP::Search() == 0, "Search");
  Expect(Await(searched), "the own search is answered");
  return 0;
}

// SPDX-License-Identifier: MIT
// Someone's first program with libSSDP: is on the network, hears of itself, leaves.
#include <libssdp.h>

#include <chrono>
#include <cstdio>
#include <future>

static void OnDevice(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo* device, unsigned int event,
                     void* context) {
  if (event == libSSDP::SSDP_DEVICE_ADDED)
    static_cast<std::promise<std::string>*>(context)->set_value(device->m_uuid);
}

int main() {
  std::promise<std::string> first;
  if (libSSDP::CreateSSDP(true) != libSSDP::SSDP_SUCCESS) return 1;
  libSSDP::SetDomainName("example-org");
  libSSDP::SetDeviceType("Stranger");
  libSSDP::SetVersionInfo("1");
  libSSDP::SetUUID("stranger-1");
  libSSDP::SetStatus("here");
  libSSDP::SetNotifyTimeOut(30);
  libSSDP::SetMSearchTimeOut(1);
  libSSDP::SetCallback(OnDevice, &first);
  if (libSSDP::Initialize() != libSSDP::SSDP_SUCCESS) return 1;
  std::future<std::string> heard = first.get_future();
  const bool came = heard.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  if (libSSDP::Uninitialize() != libSSDP::SSDP_SUCCESS || !came) return 1;
  std::printf("heard of %s\n", heard.get().c_str());
  return libSSDP::DestroySSDP();
}

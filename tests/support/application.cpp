// SPDX-License-Identifier: MIT
#include "application.h"

#include "process.h"

namespace support {

using namespace libSSDP;

Application::Application(bool announce, SSDPCallback callback, void* context) {
  EXPECT_EQ(CreateSSDP(announce), SSDP_SUCCESS);
  SetDomainName("schemas-example-org");
  SetDeviceType("Light");
  SetVersionInfo("1");
  SetUUID("ourselves");
  SetStatus("on");
  SetNotifyTimeOut(1800);
  SetMSearchTimeOut(1);
  if (callback != nullptr)
    SetCallback(callback, context);
  else
    SetCallback(&Application::OnEvent, this);
}

Application::~Application() {
  if (m_running) Stop();
  DestroySSDP();
}

void Application::Start() {
  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  m_running = true;
}

void Application::Stop() {
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  m_running = false;
}

void Application::OnEvent(const DeviceInfo*, DeviceInfo*, unsigned int event, void* context) {
  auto* application = static_cast<Application*>(context);
  std::atomic<int>& count = event == SSDP_DEVICE_ADDED      ? application->m_added
                            : event == SSDP_DEVICE_REMOVED  ? application->m_removed
                            : event == SSDP_SEARCH_RECEIVED ? application->m_searched
                                                            : application->m_refreshed;
  ++count;
}

testing::AssertionResult Application::Works() {
  const auto heard = [this] { return m_added + m_refreshed; };
  int before = heard();
  if (Announce() != SSDP_SUCCESS) return testing::AssertionFailure() << "can't announce";
  if (!Await([&] { return heard() > before; }))
    return testing::AssertionFailure() << "doesn't receive an announcement";
  before = heard();
  const int searched = m_searched;
  if (Search() != SSDP_SUCCESS) return testing::AssertionFailure() << "can't search";
  if (!Await([&] { return m_searched > searched; }))
    return testing::AssertionFailure() << "doesn't respond to a search";
  if (!Await([&] { return heard() > before; }))
    return testing::AssertionFailure() << "doesn't receive a response";
  return testing::AssertionSuccess();
}

}  // namespace support

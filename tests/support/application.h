// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_APPLICATION_H
#define LIBSSDP_TESTS_SUPPORT_APPLICATION_H

#include <gtest/gtest.h>

#include <atomic>

#include "libssdp.h"

namespace support {

// The application under test, through the public header: a light, created and set but not started.
// It receives its own announcements, and its own responses to its own searches. One at a time.
class Application {
 public:
  // Without a callback it counts the events itself.
  explicit Application(bool announce = false, libSSDP::SSDPCallback callback = nullptr,
                       void* context = nullptr);
  ~Application();  // stops what Start has started and destroys the service
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  void Start();
  void Stop();

  // Whether announcing, listening, searching, responding and receiving responses all work. Only
  // without a callback.
  testing::AssertionResult Works();

  std::atomic<int> m_added{0};
  std::atomic<int> m_removed{0};
  std::atomic<int> m_refreshed{0};  // events 0 and 4
  std::atomic<int> m_searched{0};

 private:
  static void OnEvent(const libSSDP::DeviceInfo*, libSSDP::DeviceInfo*, unsigned int event,
                      void* context);

  bool m_running = false;
};

}  // namespace support

#endif

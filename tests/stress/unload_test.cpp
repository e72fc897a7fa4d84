// SPDX-License-Identifier: MIT
// The library as a plug-in: loaded, used, and unloaded again and again. A program of its own, for
// it must have nothing of the library linked in.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <time.h>
#include <unistd.h>

#include "memory.h"
#include "process.h"

// In the place of the system's: the service's pause is what makes a stop slow. Exported, so that
// the library finds it.
extern "C" __attribute__((visibility("default"))) int usleep(useconds_t) {
  const timespec moment = {0, 1000000};
  nanosleep(&moment, nullptr);
  return 0;
}

namespace {

class Plugin {
 public:
  Plugin() : m_handle(dlopen(LIBSSDP_SHARED, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(m_handle, nullptr) << dlerror();
  }
  ~Plugin() { EXPECT_EQ(dlclose(m_handle), 0); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  template <typename... Arguments>
  int Call(const char* mangled, Arguments... arguments) {
    void* symbol = dlsym(m_handle, mangled);
    if (symbol == nullptr) return -2;
    return reinterpret_cast<int (*)(Arguments...)>(symbol)(arguments...);
  }

 private:
  void* m_handle;
};

void Live() {
  Plugin plugin;
  EXPECT_EQ(plugin.Call("_ZN7libSSDP16SetNotifyTimeOutEi", 1), -1) << "a leftover of the last life";
  EXPECT_EQ(plugin.Call("_ZN7libSSDP10CreateSSDPEb", true), 0);
  EXPECT_EQ(plugin.Call("_ZN7libSSDP16SetNotifyTimeOutEi", 1), 0);
  EXPECT_EQ(plugin.Call("_ZN7libSSDP10InitializeEv"), 0);
  EXPECT_EQ(plugin.Call("_ZN7libSSDP8AnnounceEv"), 0);
  EXPECT_EQ(plugin.Call("_ZN7libSSDP12UninitializeEv"), 0);
  EXPECT_EQ(plugin.Call("_ZN7libSSDP11DestroySSDPEv"), 0);
}

bool IsLoaded() {
  void* handle = dlopen(LIBSSDP_SHARED, RTLD_NOW | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

TEST(Unload, LeavesNothingBehind) {
  testing::internal::CaptureStdout();  // each life begins with a call too early, which is reported
  for (int i = 0; i < 20; ++i) Live();
  testing::internal::GetCapturedStdout();
  const int count = support::Scaled("times loaded, used and unloaded", 1000);
  support::Held before = support::HeldNow();
  const size_t malloc_before = support::MallocBytes();
  testing::internal::CaptureStdout();
  for (int i = 0; i < count; ++i) {
    Live();
    ASSERT_FALSE(IsLoaded());
  }
  testing::internal::GetCapturedStdout();
  // AddressSanitizer itself keeps some bytes for every library that it has seen; leaks are its
  // trade.
  if (malloc_before == 0) before.bytes = memory::LiveBytes();
  EXPECT_EQ(support::HeldOnceDownTo(before.threads), before);
  EXPECT_LT(support::MallocBytes(), malloc_before + 16384);
  std::cout << support::HeldNow() << "; malloc " << malloc_before << " -> "
            << support::MallocBytes() << " bytes\n";
}

}  // namespace

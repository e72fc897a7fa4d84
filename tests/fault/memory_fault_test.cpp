// SPDX-License-Identifier: MIT
// Memory that runs out in the application's calls, at every single allocation of each: no exception
// comes out, the failure is reported, and what the public header says of it holds.
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "fault.h"
#include "memory.h"
#include "ssdp.h"

extern "C" {
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace fault {
namespace {

using namespace libSSDP;

// Too long for a string to hold it without an allocation.
const std::string kLong(100, 'x');

class OutOfMemory : public FaultTest {
 protected:
  void SetUp() override {
    Hurry();
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      ++m_sent;
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }

  // Has `operation` fail at its first allocation, at its second, and so on until it needs no more.
  // It is given the number and hands it to FailAt when its own preparations are done. `check` says
  // what holds after a failure.
  template <typename Operation, typename Check>
  void ForEveryAllocation(Operation operation, Check check) {
    for (int call = 1;; ++call) {
      SCOPED_TRACE("allocation " + std::to_string(call));
      m_output.Clear();
      const SSDP_STATUS status = operation(call);
      if (!memory::Stop()) {
        EXPECT_EQ(status, SSDP_SUCCESS);
        EXPECT_GT(call, 1) << "nothing was allocated";
        return;
      }
      EXPECT_EQ(status, SSDP_FAILURE);
      EXPECT_EQ(m_output.Count("std::bad_alloc failed."), 1);
      check();
      ASSERT_FALSE(HasFailure());
    }
  }

  std::atomic<int> m_sent{0};
};

// What was made before the component that fails isn't freed: the store, and the listener with its
// socket. Nothing else may stay.
TEST_F(OutOfMemory, FailsCreateSSDPAndKeepsOnlyWhatItMade) {
  size_t blocks = 0;           // that stayed after a failure, or that a service is made of
  std::map<size_t, int> left;  // how often so many stayed
  std::vector<int> sockets;
  sockets.reserve(8);  // before memory is scarce
  seam::calls.socket = [&](int domain, int type, int protocol) {
    sockets.push_back(seam::real.socket(domain, type, protocol));
    return sockets.back();
  };
  if (__lsan_disable != nullptr) __lsan_disable();
  ForEveryAllocation(
      [&](int call) {
        const size_t before = memory::LiveBlocks();
        memory::FailAt(call);
        const SSDP_STATUS status = CreateSSDP(false);
        blocks = memory::LiveBlocks() - before;
        return status;
      },
      [&] {
        EXPECT_EQ(ssdpserver, nullptr);
        ++left[blocks];
      });
  if (__lsan_enable != nullptr) __lsan_enable();
  // The service is one block, the listener and the handler are two each (the object and the name of
  // the setting that it keeps), the rest is the store's.
  EXPECT_EQ(left[blocks - 5], 2) << "the listener's failures";
  EXPECT_EQ(left[blocks - 3], 2) << "the handler's failures";
  EXPECT_EQ(left.size(), 3u);
  EXPECT_EQ(left.count(0), 1u) << "the store's failures";

  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  DestroySSDP();
  ssdpserver = nullptr;
  ASSERT_EQ(Descriptors(), m_descriptors + 2);
  // A listener's for each of the handler's failures, and only then the two that were used.
  ASSERT_EQ(sockets.size(), 4u);
  ::close(sockets[0]);
  ::close(sockets[1]);
}

TEST_F(OutOfMemory, FailsASetterAndKeepsTheOldValue) {
  using Setter = SSDP_STATUS (*)(std::string);
  const Setter setters[] = {SetStatus,      SetNetworkInterface, SetDomainName, SetDeviceType,
                            SetVersionInfo, SetUserAgent,        SetServerInfo, SetUUID};
  Application application;
  for (const Setter set : setters) {
    ForEveryAllocation(
        [&](int call) {
          std::string value = kLong;  // the application's own
          memory::FailAt(call);
          return set(std::move(value));
        },
        [&] {
          std::string uuid;
          EXPECT_EQ(GetUUID(uuid), SSDP_SUCCESS);  // the registry isn't left locked
          EXPECT_EQ(uuid, "ourselves");
        });
  }
  for (const auto set : {SetNotifyTimeOut, SetMSearchTimeOut}) {
    ForEveryAllocation(
        [&](int call) {
          memory::FailAt(call);
          return set(5);
        },
        [] {});
  }
  std::string uuid;
  EXPECT_EQ(GetUUID(uuid), SSDP_SUCCESS);
  EXPECT_EQ(uuid, kLong);
  ForEveryAllocation(
      [&](int call) {
        std::string read;
        memory::FailAt(call);
        return GetUUID(read);
      },
      [] { EXPECT_EQ(SetUUID(kLong), SSDP_SUCCESS); });
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// Whatever was started runs on, and the next attempt takes it from there. The second start makes
// new workers, the first one has them already.
TEST_F(OutOfMemory, FailsAStartThatASecondOneContinues) {
  Application application;
  SetNetworkInterface("an interface with a long name");
  for (int start = 0; start < 2; ++start) {
    ForEveryAllocation(
        [&](int call) {
          memory::FailAt(call);
          return Initialize();
        },
        [] {});
    EXPECT_TRUE(application.Works());
    EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  }
}

TEST_F(OutOfMemory, FailsASendWithNothingSent) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  for (const auto send : {Announce, Search}) {
    const int before = m_sent;
    ForEveryAllocation(
        [&](int call) {
          memory::FailAt(call);
          return send();
        },
        [&] { EXPECT_EQ(m_sent, before); });
  }
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(OutOfMemory, FailsGetDevices) {
  Application application;
  for (const char* uuid : {"a", "b", "c"}) {
    DeviceInfo device;
    device.m_uuid = uuid;
    SSDP::Callback(ssdpserver, &device, true, false);
  }
  std::map<std::string, DeviceInfo*> devices;
  ForEveryAllocation(
      [&](int call) {
        devices.clear();
        memory::FailAt(call);
        return GetDevices(devices);
      },
      [] {});
  EXPECT_EQ(devices.size(), 3u);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// The byebye needs memory: without it the service runs on.
TEST_F(OutOfMemory, FailsAStop) {
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  ForEveryAllocation(
      [](int call) {
        memory::FailAt(call);
        return Uninitialize();
      },
      [&] {
        EXPECT_EQ(Threads(), m_threads + 3);
        EXPECT_TRUE(application.Works());
      });
}

}  // namespace
}  // namespace fault

// SPDX-License-Identifier: MIT
// Locks that fail.
#include <cerrno>
#include <map>
#include <string>

#include "fault.h"
#include "ssdp.h"

namespace fault {
namespace {

using namespace libSSDP;

// A registry with one setting, used by this thread alone.
class RegistryTest : public FaultTest {
 protected:
  RegistryTest() {
    DomainNameConfig config;
    config.m_domain_name = "first";
    m_registry.RegisterConfig(config.m_name, config);
  }

  std::string Value() {
    DomainNameConfig config;
    EXPECT_EQ(m_registry.GetConfig(config.m_name, config), SSDP_SUCCESS);
    return config.m_domain_name;
  }

  SSDP_STATUS Set(const char* value) {
    DomainNameConfig config;
    config.m_domain_name = value;
    return m_registry.SetConfig(config.m_name, config);
  }

  // Runs `operation` with every lock failing. A lock that wasn't taken need not be given back. No
  // expectation inside: the test framework has locks of its own.
  template <typename Operation>
  static void WithoutLocks(Operation operation) {
    seam::calls.pthread_mutex_lock = [](pthread_mutex_t*) { return EINVAL; };
    seam::calls.pthread_mutex_unlock = [](pthread_mutex_t*) { return 0; };
    operation();
    seam::calls.pthread_mutex_lock = nullptr;
    seam::calls.pthread_mutex_unlock = nullptr;
  }

  SSDPConfigMap m_registry;
};

// Every error of either call, failing now and then: one report each, and every access is done.
class FailingLock : public RegistryTest, public testing::WithParamInterface<When> {
 protected:
  void ExpectAReportEach(const Fault& fault) {
    EXPECT_GT(fault.Failures(), 0);
    EXPECT_EQ(m_output.Count("[#] "), fault.Failures());
    m_output.Clear();
  }
};

TEST_P(FailingLock, IsReportedEachTime) {
  for (const int error : {EINVAL, EAGAIN, EDEADLK, EOWNERDEAD, ENOTRECOVERABLE}) {
    Fault fault(GetParam());
    bool held = false;
    seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
      held = !fault.Hits();
      return held ? seam::real.pthread_mutex_lock(mutex) : error;
    };
    seam::calls.pthread_mutex_unlock = [&](pthread_mutex_t* mutex) {
      return held ? seam::real.pthread_mutex_unlock(mutex) : 0;
    };
    for (int access = 0; access < 6; ++access) Set("second");
    seam::Reset();
    ExpectAReportEach(fault);
  }
  for (const int error : {EPERM, EINVAL, EAGAIN}) {
    Fault fault(GetParam());
    seam::calls.pthread_mutex_unlock = [&](pthread_mutex_t* mutex) {
      const int status = seam::real.pthread_mutex_unlock(mutex);
      return fault.Hits() ? error : status;
    };
    for (int access = 0; access < 6; ++access) Set("third");
    seam::Reset();
    ExpectAReportEach(fault);
  }
  EXPECT_EQ(Value(), "third");
}

INSTANTIATE_TEST_SUITE_P(Patterns, FailingLock,
                         testing::Values(When::kFirst, When::kThird, When::kEvery,
                                         When::kEveryOther));

// The device table and the response delay go on without their locks, with no word. One thread, for
// without a lock there is no more than one.
class ServiceWithoutLocks : public RegistryTest {};

TEST_F(ServiceWithoutLocks, KeepsTheTable) {
  Application application;
  DeviceInfo device;
  device.m_uuid = "peer";
  std::map<std::string, DeviceInfo*> devices;
  WithoutLocks([&] {
    SSDP::Callback(ssdpserver, &device, true, false);
    SSDP::Callback(ssdpserver, &device, true, false);
    GetDevices(devices);
    SSDP::Callback(ssdpserver, &device, false, false);
  });
  EXPECT_EQ(devices.count("peer"), 1u);
  EXPECT_EQ(m_output.Text(), "");
  EXPECT_EQ(application.m_added, 1);
  EXPECT_EQ(application.m_refreshed, 1);
  EXPECT_EQ(application.m_removed, 1);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// Waiting on a condition without its mutex is undefined, so the answer leaves at once.
TEST_F(ServiceWithoutLocks, AnswersWithoutDelay) {
  SSDPStorage store;
  ASSERT_EQ(store.Init(), SSDP_SUCCESS);
  SSDPListener listener([](void*, DeviceInfo*, bool, bool) {}, &store, nullptr);
  int waits = 0;
  int sent = 0;
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
    ++waits;
    return 0;
  };
  seam::calls.sendto = [&](int, const void*, size_t size, int, const sockaddr*, socklen_t) {
    ++sent;
    return static_cast<ssize_t>(size);
  };
  const char search[] = "M-SEARCH * HTTP/1.1\r\nMX: 3\r\nST: urn::device::\r\n\r\n";
  EXPECT_EQ(listener.ProcessMSearch(search, sockaddr_in()), SSDP_SUCCESS);
  EXPECT_EQ(waits, 1);
  SSDP_STATUS status = SSDP_FAILURE;
  WithoutLocks([&] { status = listener.ProcessMSearch(search, sockaddr_in()); });
  EXPECT_EQ(status, SSDP_SUCCESS);
  EXPECT_EQ(waits, 1);
  EXPECT_EQ(sent, 2);
  seam::Reset();
  EXPECT_EQ(listener.DeInit(), SSDP_FAILURE);  // closes the socket, has no thread to join
}

}  // namespace
}  // namespace fault

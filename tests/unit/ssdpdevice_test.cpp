// SPDX-License-Identifier: MIT
#include "ssdpdevice.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <thread>

#include "output.h"
#include "scripted_system.h"

namespace libSSDP {
namespace {

using support::OutputOf;
using testing::ElementsAre;

constexpr char kUnknownInSet[] =
    "[#] SetConfig: config_holder != m_configholder_map.end() failed. \n source/ssdpdevice.cpp\n";
constexpr char kUnknownInGet[] =
    "[#] GetConfig: config_holder != m_configholder_map.end() failed. \n source/ssdpdevice.cpp\n";

// A registry with one setting, "domain", and a log of its locking.
class Registry : public testing::Test {
 protected:
  Registry() { m_map.RegisterConfig("domain", DomainNameConfig()); }

  // The mutex that the next access takes.
  pthread_mutex_t* MutexOf(SSDPConfigMap& map) {
    pthread_mutex_t* taken = nullptr;
    seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
      taken = mutex;
      return seam::real.pthread_mutex_lock(mutex);
    };
    DomainNameConfig config;
    map.GetConfig("domain", config);
    seam::calls.pthread_mutex_lock = nullptr;
    return taken;
  }

  support::ScriptedSystem m_system;
  SSDPConfigMap m_map;
};

TEST_F(Registry, HandsBackWhatWasSet) {
  DomainNameConfig config;
  config.m_domain_name = "schemas-example-org";
  EXPECT_EQ(m_map.SetConfig("domain", config), 0);
  DomainNameConfig read;
  EXPECT_EQ(m_map.GetConfig("domain", read), 0);
  EXPECT_EQ(read.m_domain_name, "schemas-example-org");
}

TEST_F(Registry, HandsOutCopies) {
  DomainNameConfig config;
  config.m_domain_name = "one";
  m_map.SetConfig("domain", config);
  DomainNameConfig read;
  m_map.GetConfig("domain", read);
  config.m_domain_name = "two";
  m_map.SetConfig("domain", config);
  EXPECT_EQ(read.m_domain_name, "one");
  read.m_domain_name = "three";
  m_map.GetConfig("domain", config);
  EXPECT_EQ(config.m_domain_name, "two");
}

TEST_F(Registry, GoesByTheKeyAndStoresTheNameInsideTheObject) {
  DomainNameConfig config;
  config.m_name = "another name";
  config.m_domain_name = "x";
  EXPECT_EQ(m_map.SetConfig("domain", config), 0);
  DomainNameConfig read;
  EXPECT_EQ(m_map.GetConfig("domain", read), 0);
  EXPECT_EQ(read.m_name, "another name");
  EXPECT_EQ(read.m_domain_name, "x");
}

TEST_F(Registry, LocksAroundEachAccessOnce) {
  m_system.LogLocks();
  DomainNameConfig config;
  m_map.SetConfig("domain", config);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock"));
  m_system.log.clear();
  m_map.GetConfig("domain", config);
  EXPECT_THAT(m_system.log, ElementsAre("lock", "unlock"));
}

TEST_F(Registry, TakesNoLockToRegister) {
  m_system.LogLocks();
  m_map.RegisterConfig("version", VersionConfig());
  EXPECT_THAT(m_system.log, ElementsAre());
}

TEST_F(Registry, CopiesWhileItHoldsTheLock) {
  // A setting that tells when it is copied, as seen from another thread.
  struct Watched : SSDPConfig {
    explicit Watched(pthread_mutex_t*& mutex) : SSDPConfig("watched"), m_mutex(mutex) {}
    Watched(const Watched&) = default;
    Watched& operator=(const Watched& other) {
      SSDPConfig::operator=(other);
      if (m_mutex == nullptr) return *this;
      std::thread([this] { m_busy = pthread_mutex_trylock(m_mutex); }).join();
      return *this;
    }
    SSDPConfig* clone() const override { return new Watched(*this); }
    pthread_mutex_t*& m_mutex;
    int m_busy = -1;
  };
  pthread_mutex_t* mutex = nullptr;
  Watched config(mutex);
  m_map.RegisterConfig("watched", config);
  mutex = MutexOf(m_map);
  m_map.GetConfig("watched", config);
  EXPECT_EQ(config.m_busy, EBUSY);
}

TEST_F(Registry, CarriesOnWithoutALockThatCannotBeTaken) {
  seam::calls.pthread_mutex_lock = [](pthread_mutex_t*) { return EINVAL; };
  seam::calls.pthread_mutex_unlock = [](pthread_mutex_t*) { return 0; };
  DomainNameConfig config, read;
  config.m_domain_name = "x";
  SSDP_STATUS set = 1, get = 1;
  EXPECT_EQ(OutputOf([&] { set = m_map.SetConfig("domain", config); }),
            "[#] SetConfig: m_mutex.Lock() == SSDP_SUCCESS failed. (Mutex lock failed) \n"
            " source/ssdpdevice.cpp\n");
  EXPECT_EQ(OutputOf([&] { get = m_map.GetConfig("domain", read); }),
            "[#] GetConfig: m_mutex.Lock() == SSDP_SUCCESS failed. (Mutex lock failed) \n"
            " source/ssdpdevice.cpp\n");
  EXPECT_EQ(set, 0);
  EXPECT_EQ(get, 0);
  EXPECT_EQ(read.m_domain_name, "x");
}

TEST_F(Registry, SucceedsWhenItCannotUnlock) {
  seam::calls.pthread_mutex_lock = [](pthread_mutex_t*) { return 0; };
  seam::calls.pthread_mutex_unlock = [](pthread_mutex_t*) { return EPERM; };
  DomainNameConfig config, read;
  config.m_domain_name = "x";
  SSDP_STATUS set = 1, get = 1;
  EXPECT_EQ(OutputOf([&] { set = m_map.SetConfig("domain", config); }),
            "[#] SetConfig: m_mutex.Unlock() == SSDP_SUCCESS failed. (Mutex unlock failed) \n"
            " source/ssdpdevice.cpp\n");
  EXPECT_EQ(OutputOf([&] { get = m_map.GetConfig("domain", read); }),
            "[#] GetConfig: m_mutex.Unlock() == SSDP_SUCCESS failed. (Mutex unlock failed) \n"
            " source/ssdpdevice.cpp\n");
  EXPECT_EQ(set, 0);
  EXPECT_EQ(get, 0);
  EXPECT_EQ(read.m_domain_name, "x");
}

TEST_F(Registry, StaysLockedAfterAReadOfAnUnknownName) {
  pthread_mutex_t* mutex = MutexOf(m_map);
  DomainNameConfig config;
  config.m_name = "mine";
  config.m_domain_name = "untouched";
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_map.GetConfig("nobody", config); }), kUnknownInGet);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(config.m_name, "mine");
  EXPECT_EQ(config.m_domain_name, "untouched");
  EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY);
  pthread_mutex_unlock(mutex);  // so that it may be destroyed
}

TEST_F(Registry, StaysLockedAfterAWriteOfAnUnknownName) {
  pthread_mutex_t* mutex = MutexOf(m_map);
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = m_map.SetConfig("nobody", DomainNameConfig()); }),
            kUnknownInSet);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY);
  pthread_mutex_unlock(mutex);
  DomainNameConfig config;
  config.m_domain_name = "overwritten by the read";
  EXPECT_EQ(m_map.GetConfig("domain", config), 0);
  EXPECT_EQ(config.m_domain_name, "");
}

TEST_F(Registry, BlocksTheNextAccessAfterAnUnknownName) {
  DomainNameConfig config;
  OutputOf([&] { m_map.GetConfig("nobody", config); });
  pthread_mutex_t* wanted = nullptr;
  bool held = false;
  seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
    wanted = mutex;
    held = pthread_mutex_trylock(mutex) == EBUSY;  // where the real call would deadlock
    return 0;
  };
  EXPECT_EQ(m_map.GetConfig("domain", config), 0);
  EXPECT_NE(wanted, nullptr);
  EXPECT_TRUE(held);
}

// Unlocks in the end what was locked last: no mutex may be destroyed while it is locked.
class UnlockTheLast {
 public:
  UnlockTheLast() {
    seam::calls.pthread_mutex_lock = [this](pthread_mutex_t* mutex) {
      m_mutex = mutex;
      return seam::real.pthread_mutex_lock(mutex);
    };
  }
  ~UnlockTheLast() {
    seam::calls.pthread_mutex_lock = nullptr;
    pthread_mutex_unlock(m_mutex);
  }

 private:
  pthread_mutex_t* m_mutex = nullptr;
};

TEST(Device, ForwardsToItsRegistryUnchanged) {
  struct Device : SSDPDevice {
    Device() { m_configmap.RegisterConfig("domain", DomainNameConfig()); }
  } device;
  UnlockTheLast unlock;
  DomainNameConfig config, read;
  config.m_domain_name = "x";
  EXPECT_EQ(device.SetConfig("domain", config), 0);
  EXPECT_EQ(device.GetConfig("domain", read), 0);
  EXPECT_EQ(read.m_domain_name, "x");
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = device.SetConfig("nobody", config); }), kUnknownInSet);
  EXPECT_EQ(status, 1);
}

TEST(Device, ForwardsTheFailureOfARead) {
  SSDPDevice device;
  UnlockTheLast unlock;
  DomainNameConfig config;
  SSDP_STATUS status = 0;
  EXPECT_EQ(OutputOf([&] { status = device.GetConfig("nobody", config); }), kUnknownInGet);
  EXPECT_EQ(status, 1);
}

}  // namespace
}  // namespace libSSDP

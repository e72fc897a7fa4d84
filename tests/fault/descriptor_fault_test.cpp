// SPDX-License-Identifier: MIT
// Descriptors that are short while the service is made, and there again later.
#include <cerrno>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

TEST_F(FaultTest, ASecondInitializeMakesTheSocketsThatWereMissing) {
  Hurry();
  Fault fault;
  seam::calls.socket = [&](int domain, int type, int protocol) {
    return Fails(fault, EMFILE) ? -1 : seam::real.socket(domain, type, protocol);
  };
  Application application(true);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Announce(), SSDP_FAILURE);
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(fault.Failures(), 2);

  EXPECT_EQ(Initialize(), SSDP_SUCCESS);  // still short
  EXPECT_EQ(fault.Failures(), 4);
  EXPECT_EQ(Announce(), SSDP_FAILURE);
  EXPECT_EQ(Threads(), m_threads + 3);

  fault.End();
  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Descriptors(), m_descriptors + 2);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(fault.Calls(), 6) << "a worker that has a socket was replaced";
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// The listener works, and a callback on its thread may use the handler: both are replaced.
TEST_F(FaultTest, ASecondInitializeReplacesTheListenerToo) {
  Hurry();
  int calls = 0;
  seam::calls.socket = [&](int domain, int type, int protocol) {
    return ++calls == 2 ? (errno = EMFILE, -1) : seam::real.socket(domain, type, protocol);
  };
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(Uninitialize(), SSDP_FAILURE);
  EXPECT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(Descriptors(), m_descriptors + 2);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(FaultTest, AnotherInitializeGetsOverMissingSocketsAndThreads) {
  Hurry();
  Fault sockets;
  seam::calls.socket = [&](int domain, int type, int protocol) {
    return Fails(sockets, EMFILE) ? -1 : seam::real.socket(domain, type, protocol);
  };
  for (const int missing : {0, 1, 2}) {
    sockets.Begin();
    Application application;
    int threads = 0;
    seam::calls.pthread_create = [&](pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*entry)(void*), void* argument) {
      if (threads++ == missing) return EAGAIN;
      return seam::real.pthread_create(thread, attributes, entry, argument);
    };
    EXPECT_EQ(Initialize(), SSDP_FAILURE);
    sockets.End();
    Initialize();
    EXPECT_EQ(Announce(), SSDP_SUCCESS) << missing;
    Uninitialize();  // fails where a thread was missing
    EXPECT_EQ(Initialize(), SSDP_SUCCESS) << missing;
    EXPECT_TRUE(application.Works()) << missing;
    EXPECT_EQ(Uninitialize(), SSDP_SUCCESS) << missing;
  }
}

}  // namespace
}  // namespace fault

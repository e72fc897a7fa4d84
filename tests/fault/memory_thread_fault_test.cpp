// SPDX-License-Identifier: MIT
// Memory that runs out on the library's own threads, at every single allocation: a datagram or an
// announcement may be lost, never the thread.
#include <netinet/in.h>

#include <string>
#include <vector>

#include "fault.h"
#include "memory.h"

namespace fault {
namespace {

using namespace libSSDP;

// Gives one worker a datagram again and again, each time with a later allocation failing, until it
// is through without one; then the next. Everything here runs on the worker's thread.
class Script {
 public:
  explicit Script(std::vector<std::string> datagrams) : m_datagrams(std::move(datagrams)) {}

  // The worker's receive.
  ssize_t Receive(int fd, void* data, size_t size, int flags, sockaddr* from, socklen_t* length) {
    if (m_call > 0 && !memory::Stop()) {
      ++m_next;
      m_call = 0;
    }
    if (m_next == m_datagrams.size()) {
      m_call = 0;
      m_done = true;
      return seam::real.recvfrom(fd, data, size, flags, from, length);
    }
    if (m_call > 0) ++m_failures;
    const std::string& datagram = m_datagrams[m_next];
    const size_t copied = datagram.copy(static_cast<char*>(data), size);
    sockaddr_in sender = {};
    sender.sin_family = AF_INET;
    sender.sin_port = htons(9);
    sender.sin_addr.s_addr = htonl(0x0a4d0001u + static_cast<uint32_t>(m_next));
    *reinterpret_cast<sockaddr_in*>(from) = sender;
    memory::FailAt(++m_call);
    return static_cast<ssize_t>(copied);
  }

  bool IsDone() const { return m_done; }
  int Failures() const { return m_failures; }

 private:
  const std::vector<std::string> m_datagrams;
  size_t m_next = 0;
  int m_call = 0;
  std::atomic<bool> m_done{false};
  std::atomic<int> m_failures{0};
};

bool IsOnTheGroupPort(int fd) {
  sockaddr_in address = {};
  socklen_t length = sizeof(address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return address.sin_port == htons(1900);
}

const std::string kUuid = "2f402f80-da50-11e1-9b23-001788255acc";
const std::string kStatus = "a status that no string can hold without an allocation";

class OutOfMemoryOnAThread : public FaultTest {
 protected:
  // Runs the script on the worker whose socket is on the group's port, or on the other one.
  void Run(Script& script, bool listener) {
    Hurry();
    seam::calls.recvfrom = [&script, listener](int fd, void* data, size_t size, int flags,
                                               sockaddr* from, socklen_t* length) {
      return IsOnTheGroupPort(fd) == listener
                 ? script.Receive(fd, data, size, flags, from, length)
                 : seam::real.recvfrom(fd, data, size, flags, from, length);
    };
    ASSERT_EQ(Initialize(), SSDP_SUCCESS);
    EXPECT_TRUE(Await([&] { return script.IsDone(); }));
    EXPECT_EQ(Threads(), m_threads + 3);
    EXPECT_GT(script.Failures(), 0);
    EXPECT_EQ(m_output.Text(), "");
  }
};

TEST_F(OutOfMemoryOnAThread, LosesAnnouncementsOnly) {
  Script script({Alive(kUuid),            // into the table
                 Alive(kUuid, kStatus),   // known, with another status and address
                 Byebye(kUuid),           // out of it
                 Byebye(kUuid, kStatus),  // of somebody unknown
                 "NOTIFY * HTTP/1.1\r\nNT: urn:another:device:Kind:1\r\n\r\n", "nothing of ours"});
  Application application;
  Run(script, true);
  EXPECT_EQ(application.m_added, 1);
  EXPECT_GE(application.m_refreshed, 1);  // the one of a failure in what follows it, too
  EXPECT_GE(application.m_removed, 2);
  std::map<std::string, DeviceInfo*> devices;
  EXPECT_EQ(GetDevices(devices), SSDP_SUCCESS);
  EXPECT_EQ(devices.size(), 0u);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(OutOfMemoryOnAThread, LosesSearchesOnly) {
  Script script({MSearch()});
  std::atomic<int> answers{0};
  seam::calls.sendto = [&](int fd, const void* data, size_t size, int flags, const sockaddr* to,
                           socklen_t length) {
    if (reinterpret_cast<const sockaddr_in*>(to)->sin_port != htons(9))
      return seam::real.sendto(fd, data, size, flags, to, length);
    ++answers;
    return static_cast<ssize_t>(size);
  };
  Application application;
  SetUUID(kUuid);
  SetStatus(kStatus);
  Run(script, true);
  EXPECT_EQ(answers, 1);
  EXPECT_EQ(application.m_searched, 1);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

TEST_F(OutOfMemoryOnAThread, LosesSearchResponsesOnly) {
  Script script({Response(kUuid), Response(kUuid, kStatus), "nothing of ours"});
  Application application;
  Run(script, false);
  EXPECT_EQ(application.m_added, 1);
  EXPECT_GE(application.m_refreshed, 1);
  std::map<std::string, DeviceInfo*> devices;
  EXPECT_EQ(GetDevices(devices), SSDP_SUCCESS);
  ASSERT_EQ(devices.count(kUuid), 1u);
  EXPECT_EQ(devices[kUuid]->m_status, kStatus);
  EXPECT_EQ(devices[kUuid]->m_address, "10.77.0.2");
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

// Every pass is due to announce, and has a device to sweep. It prints why it doesn't announce: the
// timeout can't be read, or the announcement can't be composed.
TEST_F(OutOfMemoryOnAThread, SkipsPeriodicAnnouncementsOnly) {
  std::atomic<int> second{1000000};
  std::atomic<int> failures{0};
  std::atomic<bool> done{false};
  seam::calls.gettimeofday = [&](timeval* now) {
    *now = {second += 10000, 0};
    return 0;
  };
  int call = 0;
  seam::calls.usleep = [&](useconds_t) {  // the end of a pass; nobody else pauses
    if (call > 0 && !memory::Stop()) done = true;
    if (!done) {
      failures = call;
      memory::FailAt(++call);
    }
    return seam::real.usleep(1000);
  };
  seam::calls.rand = [] { return 0; };
  Application application(true);
  SetUUID(kUuid);
  SetStatus(kStatus);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(Await([&] { return done.load(); }));
  EXPECT_GT(failures, 1);
  const int unread = m_output.Count(
      "[#] Task: GetConfig() failed for SSDP_CONFIG_NOTIFY_TIMEOUT \n source/ssdp.cpp\n");
  EXPECT_GT(unread, 0);
  EXPECT_EQ(unread + m_output.Count("(Unable to send NOTIFY Query)"), failures);
  EXPECT_EQ(Threads(), m_threads + 3);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

}  // namespace
}  // namespace fault

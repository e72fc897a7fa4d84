// SPDX-License-Identifier: MIT
// The socket steps of the two workers: each is reported, and the service goes on with what it has.
#include <cerrno>
#include <vector>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

constexpr char kListenerFile[] = "source/ssdplistener.cpp";
constexpr char kHandlerFile[] = "source/ssdphandler.cpp";

const std::string kListenerSocket =
    Line("SSDPListener", "(m_handle >= 0)", "error creating socket", kListenerFile);
const std::string kReuse = Line("SSDPListener",
                                "(setsockopt(m_handle, SOL_SOCKET, SO_REUSEADDR, (void*) &reuse, "
                                "(socklen_t) sizeof(reuse)) == 0)",
                                "Unable set SO_REUSEADDR", kListenerFile);
const std::string kListenerBind =
    Line("SSDPListener",
         "(bind(m_handle, (struct sockaddr * ) &m_local_addr, sizeof(m_local_addr)) == 0)",
         "unable to bind socket", kListenerFile);
const std::string kMembership =
    Line("SSDPListener",
         "(setsockopt(m_handle, IPPROTO_IP, IP_ADD_MEMBERSHIP, (char *) &group, sizeof(group)) == "
         "0)",
         "unable to add socket to group membership", kListenerFile);
const std::string kHandlerSocket =
    Line("SSDPHandler", "(m_handle >= 0)", "error creating socket", kHandlerFile);
const std::string kHandlerBind =
    Line("SSDPHandler",
         "(bind(m_handle, (struct sockaddr * ) &m_local_addr, sizeof(m_local_addr)) == 0)",
         "error binding socket", kHandlerFile);
const std::string kInterface =
    Line("SSDPHandler",
         "(setsockopt(m_handle, IPPROTO_IP, IP_MULTICAST_IF, &localInterface, "
         "sizeof(localInterface)) == 0)",
         "Unable to set IP_MULTICAST_IF", kHandlerFile);

enum class Step { kSocket, kBind, kOption };
enum class Left { kAll, kHandler, kListener };

struct SocketFault {
  const char* name;
  Step step;
  int call;  // which of the calls while the service is made; the listener's come first
  int error;
  std::string report;
  Left left;  // what still works
};

void PrintTo(const SocketFault& fault, std::ostream* out) {
  *out << fault.name;
}

class FailingSocketStep : public FaultTest, public testing::WithParamInterface<SocketFault> {
 protected:
  void SetUp() override {
    const SocketFault& fault = GetParam();
    Hurry();
    seam::calls.socket = [this, &fault](int domain, int type, int protocol) {
      return Fail(fault, Step::kSocket) ? -1 : seam::real.socket(domain, type, protocol);
    };
    seam::calls.bind = [this, &fault](int fd, const sockaddr* address, socklen_t length) {
      return Fail(fault, Step::kBind) ? -1 : seam::real.bind(fd, address, length);
    };
    seam::calls.setsockopt = [this, &fault](int fd, int level, int option, const void* value,
                                            socklen_t length) {
      return Fail(fault, Step::kOption) ? -1
                                        : seam::real.setsockopt(fd, level, option, value, length);
    };
    // A service whose byebye can't leave runs on: this is how a test gets it to end.
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      if (m_pretend_sending) return static_cast<ssize_t>(size);
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
  }

  bool Fail(const SocketFault& fault, Step step) {
    if (step != fault.step || m_calls++ != fault.call) return false;
    errno = fault.error;
    return true;
  }

  // The listener hears nothing, but our messages leave and the answers to them arrive.
  static void HandlerWorks(Application& application) {
    Peer peer = Peer::InGroup();
    EXPECT_EQ(Announce(), SSDP_SUCCESS);
    EXPECT_NE(peer.Receive("NTS: ssdp:alive"), "");
    EXPECT_EQ(libSSDP::Search(), SSDP_SUCCESS);
    ASSERT_NE(peer.Receive("M-SEARCH"), "");
    peer.Answer(Response("peer"));
    EXPECT_TRUE(Await([&] { return application.m_added > 0; }));
  }

  // Nothing of ours leaves, but others are heard, and their searches are answered.
  void ListenerWorks(Application& application) {
    m_output.Clear();
    EXPECT_EQ(Announce(), SSDP_FAILURE);
    EXPECT_EQ(libSSDP::Search(), SSDP_FAILURE);
    EXPECT_EQ(m_output.Count("bytes == config.m_notify_header.length() failed."), 1);
    EXPECT_EQ(m_output.Count("bytes == config.m_msearch_header.length() failed."), 1);
    Peer peer = Peer::InGroup();
    peer.Send(Alive("peer"));
    peer.Send(MSearch());
    EXPECT_TRUE(Await([&] { return application.m_added == 1 && application.m_searched == 1; }));
    EXPECT_EQ(Uninitialize(), SSDP_FAILURE);  // no byebye, no end
    peer.Send(Alive("another"));
    EXPECT_TRUE(Await([&] { return application.m_added == 2; }));
  }

  std::atomic<bool> m_pretend_sending{false};

 private:
  int m_calls = 0;
};

TEST_P(FailingSocketStep, IsReportedAndTheRestWorks) {
  Application application;
  EXPECT_EQ(m_output.Text(), GetParam().report);
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_EQ(m_output.Text(), GetParam().report);
  if (GetParam().left == Left::kAll) {
    EXPECT_TRUE(application.Works());
  } else if (GetParam().left == Left::kHandler) {
    HandlerWorks(application);
  } else {
    ListenerWorks(application);
  }
  m_pretend_sending = true;
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, FailingSocketStep,
    testing::Values(
        SocketFault{"ListenerSocket", Step::kSocket, 0, EMFILE,
                    kListenerSocket + kReuse + kListenerBind + kMembership, Left::kHandler},
        SocketFault{"ReuseAddress", Step::kOption, 0, ENOPROTOOPT, kReuse, Left::kAll},
        SocketFault{"ListenerBind", Step::kBind, 0, EADDRINUSE, kListenerBind, Left::kHandler},
        SocketFault{"Membership", Step::kOption, 1, ENODEV, kMembership, Left::kHandler},
        SocketFault{"HandlerSocket", Step::kSocket, 1, EMFILE,
                    kHandlerSocket + kHandlerBind + kInterface, Left::kListener},
        // The first send binds the socket after all.
        SocketFault{"HandlerBind", Step::kBind, 1, EADDRINUSE, kHandlerBind, Left::kAll},
        SocketFault{"MulticastInterface", Step::kOption, 2, EADDRNOTAVAIL, kInterface, Left::kAll}),
    [](const auto& test) { return test.param.name; });

// With no word, for it's no reason to do without a socket.
TEST_F(FaultTest, CloseOnExecIsAWishOnly) {
  Hurry();
  Fault fault;
  seam::calls.fcntl = [&](int fd, int command, int argument) {
    return Fails(fault, EPERM) ? -1 : seam::real.fcntl(fd, command, argument);
  };
  Application application;
  ASSERT_EQ(Initialize(), SSDP_SUCCESS);
  EXPECT_TRUE(application.Works());
  EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  EXPECT_EQ(fault.Failures(), 2);
  EXPECT_EQ(m_output.Text(), "");
}

}  // namespace
}  // namespace fault

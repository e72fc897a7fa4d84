// SPDX-License-Identifier: MIT
// Every call of the library to the system, with every error that its manual page names, failing
// once, at its third call, at every and at every other call, while a service starts, announces,
// searches, answers, hears others and stops. Nothing may be lost for good: when the fault has ended
// the service works, or works after a restart; its stop ends and leaves nothing behind; and there
// is one report for each failure that is reported at all, and no other line.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

// How `call` is made to fail with an error, where `fault` says so.
using Install = void (*)(Fault& fault, int error);

struct Call {
  const char* name;
  std::vector<int> errors;
  Install install;
  // What the report of a failure contains; null: it is none's business.
  const char* report;
  // What else may be printed: the lines of those that a failure is handed on to.
  std::vector<const char*> consequences;
  // Whether the threads call it over and over, so that it's all well again without a restart.
  bool resumes;
};

void PrintTo(const Call& call, std::ostream* out) {
  *out << call.name;
}

// A call that returns -1 and sets errno. `done` is whether the real call is made all the same, for
// those that must not be left out. One that fails of itself counts too: a stop may overtake an
// answer, which then finds the socket closed.
#define FAILING_CALL(call, done, parameters, arguments) \
  [](Fault& fault, int error) {                         \
    seam::calls.call = [&fault, error] parameters {     \
      if (!fault.Hits()) {                              \
        const auto result = seam::real.call arguments;  \
        if (result == -1) fault.CountFailure();         \
        return result;                                  \
      }                                                 \
      if (done) seam::real.call arguments;              \
      errno = error;                                    \
      return decltype(seam::real.call arguments){-1};   \
    };                                                  \
  }

// A call that returns the error.
#define FAILING_PTHREAD_CALL(call, parameters, arguments)      \
  [](Fault& fault, int error) {                                \
    seam::calls.call = [&fault, error] parameters {            \
      return fault.Hits() ? error : seam::real.call arguments; \
    };                                                         \
  }

const char kTaskAnnounce[] = "Task: Announce() == SSDP_SUCCESS failed. (Unable to send";
const char kAnnounce[] = "Announce: m_handler->AnnounceNetwork(\"ssdp:alive\", this)";
const char kByebye[] = "DeInit: m_handler->AnnounceNetwork(\"ssdp:byebye\", this)";
const char kSearch[] = "Search: m_handler->SearchNetwork(this) == SSDP_SUCCESS";
const char kLength[] = "header.length() failed. \n";
const char kBind[] = "(bind(m_handle, (struct sockaddr * ) &m_local_addr";
const char kSetsockopt[] = "(setsockopt(m_handle, ";
const char kInit[] = "] Init: ";
const char kDeInit[] = "] DeInit: ";

const Call kCalls[] = {
    {"socket",
     {EACCES, EAFNOSUPPORT, EINVAL, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPROTONOSUPPORT},
     FAILING_CALL(socket, false, (int a, int b, int c), (a, b, c)),
     "(m_handle >= 0) failed. (error creating socket)",
     {kBind, kSetsockopt, kLength, kTaskAnnounce, kAnnounce, kByebye, kSearch},
     false},
    {"bind",
     {EACCES, EADDRINUSE, EBADF, EINVAL, ENOTSOCK, EADDRNOTAVAIL, EFAULT, ENOMEM},
     FAILING_CALL(bind, false, (int a, const sockaddr* b, socklen_t c), (a, b, c)),
     kBind,
     {kLength},
     false},
    {"setsockopt",
     {EBADF, EFAULT, EINVAL, ENOPROTOOPT, ENOTSOCK, ENODEV, EADDRINUSE, EADDRNOTAVAIL, ENOBUFS,
      ENOMEM, EPERM},
     FAILING_CALL(setsockopt, false, (int a, int b, int c, const void* d, socklen_t e),
                  (a, b, c, d, e)),
     kSetsockopt,
     // Without SO_REUSEADDR the peer's socket is in the way.
     {kBind, kLength},
     false},
    {"fcntl",
     {EACCES, EAGAIN, EBADF, EINVAL, EPERM},
     FAILING_CALL(fcntl, false, (int a, int b, int c), (a, b, c)),
     nullptr,
     {},
     false},
    {"sendto",
     {EACCES,   EAGAIN,   EBADF,      ECONNREFUSED, ECONNRESET, EDESTADDRREQ, EFAULT,  EHOSTUNREACH,
      EINTR,    EINVAL,   EISCONN,    EMSGSIZE,     ENETDOWN,   ENETUNREACH,  ENOBUFS, ENOMEM,
      ENOTCONN, ENOTSOCK, EOPNOTSUPP, EPERM,        EPIPE,      EADDRNOTAVAIL},
     FAILING_CALL(sendto, false,
                  (int a, const void* b, size_t c, int d, const sockaddr* e, socklen_t f),
                  (a, b, c, d, e, f)),
     kLength,
     {kTaskAnnounce, kAnnounce, kByebye, kSearch},
     true},
    {"recvfrom",
     {EAGAIN, EBADF, ECONNREFUSED, EFAULT, EINTR, EINVAL, ENETDOWN, ENOBUFS, ENOMEM, ENOTCONN,
      ENOTSOCK, ETIMEDOUT},
     FAILING_CALL(recvfrom, false, (int a, void* b, size_t c, int d, sockaddr* e, socklen_t* f),
                  (a, b, c, d, e, f)),
     nullptr,
     {},
     true},
    {"shutdown",
     {EBADF, EINVAL, ENOTCONN, ENOTSOCK},
     FAILING_CALL(shutdown, true, (int a, int b), (a, b)),
     nullptr,
     {},
     false},
    // The descriptor is gone whatever close says.
    {"close",
     {EBADF, EINTR, EIO, ENOSPC, EDQUOT},
     FAILING_CALL(close, true, (int a), (a)),
     nullptr,
     {},
     false},
    {"getifaddrs",
     {EACCES, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM, EBADF, EINTR},
     FAILING_CALL(getifaddrs, false, (ifaddrs * *a), (a)),
     nullptr,
     {},
     false},
    {"pthread_create",
     {EAGAIN, EINVAL, EPERM},
     FAILING_PTHREAD_CALL(pthread_create,
                          (pthread_t * a, const pthread_attr_t* b, void* (*c)(void*), void* d),
                          (a, b, c, d)),
     "pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0",
     // A thread that is missing can't be joined either.
     {kInit, kDeInit, "pthread_join(m_handle, NULL) == 0", kLength},
     false},
    {"pthread_cond_timedwait",
     {EINVAL, EPERM, ETIMEDOUT},
     FAILING_PTHREAD_CALL(pthread_cond_timedwait,
                          (pthread_cond_t * a, pthread_mutex_t* b, const timespec* c), (a, b, c)),
     nullptr,
     {},
     true},
    {"pthread_cond_signal",
     {EINVAL},
     FAILING_PTHREAD_CALL(pthread_cond_signal, (pthread_cond_t * a), (a)),
     nullptr,
     {},
     false},
    // What it should have filled in stays as it was.
    {"gettimeofday",
     {EFAULT},
     FAILING_CALL(gettimeofday, false, (timeval * a), (a)),
     nullptr,
     // A clock that leaps makes every other pass announce, also when a stop has closed the socket.
     {kLength, kTaskAnnounce, kAnnounce},
     true},
    {"time", {EFAULT, EOVERFLOW}, FAILING_CALL(time, false, (time_t * a), (a)), nullptr, {}, true},
    {"ctime_r",
     {EOVERFLOW},
     [](Fault& fault, int error) {
       seam::calls.ctime_r = [&fault, error](const time_t* now, char* text) -> char* {
         return Fails(fault, error) ? nullptr : seam::real.ctime_r(now, text);
       };
     },
     nullptr,
     {},
     true},
};

class ErrnoTest : public FaultTest, public testing::WithParamInterface<std::tuple<Call, When>> {
 protected:
  const Call& TheCall() const { return std::get<Call>(GetParam()); }

  void Install(Fault& fault, int error) {
    Hurry();
    // A service without a socket can't say goodbye, and so can't end: this is a way out for it.
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      if (m_pretend_sending) return static_cast<ssize_t>(size);
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
    TheCall().install(fault, error);
  }

  // A service's life. What its calls return is no matter here: any of them may fail.
  void Live(Application& application, Peer& peer, const Fault& fault) {
    const int calls = fault.Calls();
    const int searched = application.m_searched;
    Initialize();
    for (int round = 0; round < 3; ++round) {
      Announce();
      libSSDP::Search();
      peer.Send(Alive("peer"));
      peer.Send(MSearch());
      peer.Send(Byebye("peer"));
    }
    EXPECT_TRUE(!TheCall().resumes || Await([&] { return fault.Calls() >= calls + 3; }));
    // Without a report the listener misses nothing, unless it never receives.
    const bool misses = TheCall().report != nullptr || (TheCall().name == std::string("recvfrom") &&
                                                        std::get<When>(GetParam()) == When::kEvery);
    EXPECT_TRUE(misses || Await([&] { return application.m_searched == searched + 6; }));
  }

  // One report a failure, and no other lines but consequences. A thread may be just between its
  // failure and the last of its lines.
  void ExpectReports(const Fault& fault) {
    std::string text;
    EXPECT_TRUE(Await([&] {
      text = m_output.Text();
      int lines = 0;
      for (const char* consequence : TheCall().consequences) lines += Count(text, consequence);
      const int reports = TheCall().report == nullptr ? 0 : Count(text, TheCall().report);
      return reports == (TheCall().report == nullptr ? 0 : fault.Failures()) &&
             Count(text, "[#] ") == lines + reports;
    })) << fault.Failures()
        << " failures and these lines:\n"
        << text;
  }

  void Suffer(Fault& fault, int error) {
    Install(fault, error);
    Peer peer = Peer::InGroup();
    // A stop may overtake an announcement, which is then reported.
    const auto& consequences = TheCall().consequences;
    Application application(std::count(consequences.begin(), consequences.end(), kTaskAnnounce) >
                            0);
    for (int life = 0; life < 4; ++life) {
      Live(application, peer, fault);
      if (life < 3) Uninitialize();
    }
    fault.End();
    EXPECT_GT(fault.Failures(), 0);
    ExpectReports(fault);
    EXPECT_TRUE(!TheCall().resumes || application.Works());
    fault.Begin();
    Uninitialize();
    fault.End();

    m_pretend_sending = true;
    Uninitialize();
    ASSERT_EQ(Initialize(), SSDP_SUCCESS);
    m_pretend_sending = false;
    EXPECT_TRUE(application.Works());
    EXPECT_EQ(Uninitialize(), SSDP_SUCCESS);
  }

  std::atomic<bool> m_pretend_sending{false};
};

TEST_P(ErrnoTest, PassesWithoutAHarmThatLasts) {
  for (const int error : TheCall().errors) {
    SCOPED_TRACE(std::strerror(error));
    Fault fault(std::get<When>(GetParam()));
    m_output.Clear();
    Suffer(fault, error);
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(Descriptors(), m_descriptors);
    seam::Reset();
  }
}

std::string NameOf(const testing::TestParamInfo<std::tuple<Call, When>>& test) {
  const char* const when[] = {"First", "Third", "Every", "EveryOther"};
  return std::string(std::get<Call>(test.param).name) +
         when[static_cast<int>(std::get<When>(test.param))];
}

INSTANTIATE_TEST_SUITE_P(Calls, ErrnoTest,
                         testing::Combine(testing::ValuesIn(kCalls),
                                          testing::Values(When::kFirst, When::kThird, When::kEvery,
                                                          When::kEveryOther)),
                         NameOf);

}  // namespace
}  // namespace fault

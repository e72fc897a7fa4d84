// SPDX-License-Identifier: MIT
// A table of the system calls that the library makes and of the errors that their manual pages
// name. Each pair is a test, "sendto_ENOBUFS": the call fails with the error at its first use, at
// its third, at every other and at every use, while a service starts, sends, responds, receives and
// stops.
//
// When the fault has ended the service works, if need be after a restart. Its stop ends and leaves
// nothing behind. Each failure gives the one report that the table names, or none, and no line
// appears that the table doesn't allow.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "fault.h"

namespace fault {
namespace {

using namespace libSSDP;

// Makes the calls that `fault` picks fail with `error`.
using Install = std::function<void(Fault& fault, int error)>;

struct Call {
  const char* name;
  std::vector<int> errors;
  Install install;
  // Part of the line that reports a failure; null: no line does.
  const char* report;
  // Parts of the other lines that may appear: those of the callers of the failed step.
  std::vector<const char*> consequences;
  // Whether a thread repeats the call, so that the service recovers without a restart.
  bool resumes;
};

enum class Effect { kNone, kDone };  // what a failing call does besides failing

// A call that returns -1 and sets errno. A real call that fails counts as a failure too: a stop may
// overtake a response, which then finds the socket closed.
template <typename Result, typename... Arguments>
Install SetsErrno(std::function<Result(Arguments...)> seam::Calls::*call,
                  Effect effect = Effect::kNone) {
  return [=](Fault& fault, int error) {
    seam::calls.*call = [=, &fault](Arguments... arguments) -> Result {
      if (!fault.Hits()) {
        const Result result = (seam::real.*call)(arguments...);
        if (result == -1) fault.CountFailure();
        return result;
      }
      if (effect == Effect::kDone) (seam::real.*call)(arguments...);
      errno = error;
      return -1;
    };
  };
}

// A call that returns the error.
template <typename... Arguments>
Install ReturnsError(std::function<int(Arguments...)> seam::Calls::*call) {
  return [=](Fault& fault, int error) {
    seam::calls.*call = [=, &fault](Arguments... arguments) {
      return fault.Hits() ? error : (seam::real.*call)(arguments...);
    };
  };
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
     SetsErrno(&seam::Calls::socket),
     "(m_handle >= 0) failed. (error creating socket)",
     {kBind, kSetsockopt, kLength, kTaskAnnounce, kAnnounce, kByebye, kSearch},
     false},
    {"bind",
     {EACCES, EADDRINUSE, EBADF, EINVAL, ENOTSOCK, EADDRNOTAVAIL, EFAULT, ENOMEM},
     SetsErrno(&seam::Calls::bind),
     kBind,
     {kLength},
     false},
    {"setsockopt",
     {EBADF, EFAULT, EINVAL, ENOPROTOOPT, ENOTSOCK, ENODEV, EADDRINUSE, EADDRNOTAVAIL, ENOBUFS,
      ENOMEM, EPERM},
     SetsErrno(&seam::Calls::setsockopt),
     kSetsockopt,
     // Without SO_REUSEADDR the peer's socket is in the way.
     {kBind, kLength},
     false},
    {"fcntl",
     {EACCES, EAGAIN, EBADF, EINVAL, EPERM},
     SetsErrno(&seam::Calls::fcntl),
     nullptr,
     {},
     false},
    {"sendto",
     {EACCES,   EAGAIN,   EBADF,      ECONNREFUSED, ECONNRESET, EDESTADDRREQ, EFAULT,  EHOSTUNREACH,
      EINTR,    EINVAL,   EISCONN,    EMSGSIZE,     ENETDOWN,   ENETUNREACH,  ENOBUFS, ENOMEM,
      ENOTCONN, ENOTSOCK, EOPNOTSUPP, EPERM,        EPIPE,      EADDRNOTAVAIL},
     SetsErrno(&seam::Calls::sendto),
     kLength,
     {kTaskAnnounce, kAnnounce, kByebye, kSearch},
     true},
    {"recvfrom",
     {EAGAIN, EBADF, ECONNREFUSED, EFAULT, EINTR, EINVAL, ENETDOWN, ENOBUFS, ENOMEM, ENOTCONN,
      ENOTSOCK, ETIMEDOUT},
     SetsErrno(&seam::Calls::recvfrom),
     nullptr,
     {},
     true},
    {"shutdown",
     {EBADF, EINVAL, ENOTCONN, ENOTSOCK},
     SetsErrno(&seam::Calls::shutdown, Effect::kDone),
     nullptr,
     {},
     false},
    // A failing close has closed the descriptor all the same.
    {"close",
     {EBADF, EINTR, EIO, ENOSPC, EDQUOT},
     SetsErrno(&seam::Calls::close, Effect::kDone),
     nullptr,
     {},
     false},
    {"getifaddrs",
     {EACCES, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM, EBADF, EINTR},
     SetsErrno(&seam::Calls::getifaddrs),
     nullptr,
     {},
     false},
    {"pthread_create",
     {EAGAIN, EINVAL, EPERM},
     ReturnsError(&seam::Calls::pthread_create),
     "pthread_create(&m_handle, NULL, &WorkerThread::TaskLauncher, this) == 0",
     // A thread that is missing can't be joined either.
     {kInit, kDeInit, "pthread_join(m_handle, NULL) == 0", kLength},
     false},
    {"pthread_cond_timedwait",
     {EINVAL, EPERM, ETIMEDOUT},
     ReturnsError(&seam::Calls::pthread_cond_timedwait),
     nullptr,
     {},
     true},
    {"pthread_cond_signal",
     {EINVAL},
     ReturnsError(&seam::Calls::pthread_cond_signal),
     nullptr,
     {},
     false},
    // The caller's buffer keeps its contents.
    {"gettimeofday",
     {EFAULT},
     SetsErrno(&seam::Calls::gettimeofday),
     nullptr,
     // A clock that leaps makes every other pass announce, also when a stop has closed the socket.
     {kLength, kTaskAnnounce, kAnnounce},
     true},
    {"time", {EFAULT, EOVERFLOW}, SetsErrno(&seam::Calls::time), nullptr, {}, true},
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

struct Case {
  const Call* call;
  int error;
};

void PrintTo(const Case& param, std::ostream* out) {
  *out << param.call->name << ' ' << strerrorname_np(param.error);
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (const Call& call : kCalls)
    for (const int error : call.errors) cases.push_back({&call, error});
  return cases;
}

class SystemCall : public FaultTest, public testing::WithParamInterface<Case> {
 protected:
  const Call& TheCall() const { return *GetParam().call; }

  void MakeFail(Fault& fault) {
    Hurry();
    // A service without a socket can't send its byebye, and without one no stop succeeds.
    seam::calls.sendto = [this](int fd, const void* data, size_t size, int flags,
                                const sockaddr* to, socklen_t length) {
      if (m_pretend_sending) return static_cast<ssize_t>(size);
      return seam::real.sendto(fd, data, size, flags, to, length);
    };
    TheCall().install(fault, GetParam().error);
  }

  // From start to the last message. Any of these calls may fail.
  void Live(Application& application, Peer& peer, const Fault& fault, When when) {
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
    const bool misses = TheCall().report != nullptr ||
                        (TheCall().name == std::string("recvfrom") && when == When::kEvery);
    EXPECT_TRUE(misses || Await([&] { return application.m_searched == searched + 6; }));
  }

  // Waits, for a thread may be between its failure and the last of its lines.
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

  void Suffer(When when) {
    Fault fault(when);
    MakeFail(fault);
    Peer peer = Peer::InGroup();
    // A stop may overtake an announcement, which is then reported.
    const auto& consequences = TheCall().consequences;
    Application application(std::count(consequences.begin(), consequences.end(), kTaskAnnounce) >
                            0);
    for (int life = 0; life < 4; ++life) {
      Live(application, peer, fault, when);
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

TEST_P(SystemCall, DoesNoLastingHarmWhenItFails) {
  for (const auto& [when, name] : {std::pair(When::kFirst, "the first call fails"),
                                   std::pair(When::kThird, "the third call fails"),
                                   std::pair(When::kEveryOther, "every other call fails"),
                                   std::pair(When::kEvery, "every call fails")}) {
    SCOPED_TRACE(name);
    m_output.Clear();
    Suffer(when);
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(Descriptors(), m_descriptors);
    seam::Reset();
  }
}

INSTANTIATE_TEST_SUITE_P(Errors, SystemCall, testing::ValuesIn(AllCases()), [](const auto& test) {
  return std::string(test.param.call->name) + '_' + strerrorname_np(test.param.error);
});

}  // namespace
}  // namespace fault

// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_SUPPORT_SEAM_H
#define LIBSSDP_TESTS_SUPPORT_SEAM_H

#include <ifaddrs.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <ctime>
#include <functional>
#include <string>

// The link seam: every call of the library to the system, to the clock and to the random generator
// goes through a hook of the same name (the linker's --wrap). An empty hook is the real call; the
// real ones are also there under `real`, for hooks that only watch or fail now and then.
//
// Hooks are set and reset while no thread of the library runs.
namespace seam {

struct Calls {
  std::function<int(int, int, int)> socket;
  std::function<int(int, const sockaddr*, socklen_t)> bind;
  std::function<int(int, int, int, const void*, socklen_t)> setsockopt;
  std::function<int(int, int, int)> fcntl;
  std::function<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> sendto;
  std::function<ssize_t(int, void*, size_t, int, sockaddr*, socklen_t*)> recvfrom;
  std::function<int(int, int)> shutdown;
  std::function<int(int)> close;
  std::function<int(ifaddrs**)> getifaddrs;
  std::function<void(ifaddrs*)> freeifaddrs;
  std::function<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> pthread_create;
  std::function<int(pthread_t, void**)> pthread_join;
  std::function<int(pthread_mutex_t*)> pthread_mutex_lock;
  std::function<int(pthread_mutex_t*)> pthread_mutex_unlock;
  std::function<int(pthread_cond_t*, pthread_mutex_t*)> pthread_cond_wait;
  std::function<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)> pthread_cond_timedwait;
  std::function<int(pthread_cond_t*)> pthread_cond_signal;
  std::function<int(timeval*)> gettimeofday;
  std::function<time_t(time_t*)> time;
  std::function<char*(const time_t*, char*)> ctime_r;
  std::function<int(useconds_t)> usleep;
  std::function<int()> rand;
  std::function<pid_t()> getpid;
};

extern Calls calls;
extern const Calls real;

// Accesses to settings, which never fail by what the system does, for a store or service given to
// support::HookSettings. Each hook says whether the access is to return SSDP_FAILURE; one that
// always says false only watches.
struct Failures {
  std::function<bool(const std::string& name)> get_config;
  std::function<bool(const std::string& name)> set_config;
};

extern Failures failures;

inline void Reset() {
  calls = Calls();
  failures = Failures();
}

}  // namespace seam

#endif

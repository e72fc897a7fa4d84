// SPDX-License-Identifier: MIT
#include "seam.h"

namespace seam {
Calls calls;
Failures failures;
}  // namespace seam

// SEAM(result, name, (parameters), (arguments)): the wrapper that the linker puts in the call's
// place. CMakeLists.txt has the same list of names.
#define SEAM(result, name, parameters, arguments)            \
  extern "C" result __real_##name parameters;                \
  extern "C" result __wrap_##name parameters {               \
    if (seam::calls.name) return seam::calls.name arguments; \
    return __real_##name arguments;                          \
  }

SEAM(int, socket, (int domain, int type, int protocol), (domain, type, protocol))
SEAM(int, bind, (int fd, const sockaddr* address, socklen_t length), (fd, address, length))
SEAM(int, setsockopt, (int fd, int level, int option, const void* value, socklen_t length),
     (fd, level, option, value, length))
SEAM(int, fcntl, (int fd, int command, int argument), (fd, command, argument))
SEAM(ssize_t, sendto,
     (int fd, const void* data, size_t size, int flags, const sockaddr* to, socklen_t length),
     (fd, data, size, flags, to, length))
SEAM(ssize_t, recvfrom,
     (int fd, void* data, size_t size, int flags, sockaddr* from, socklen_t* length),
     (fd, data, size, flags, from, length))
SEAM(int, shutdown, (int fd, int how), (fd, how))
SEAM(int, close, (int fd), (fd))
SEAM(int, getifaddrs, (ifaddrs * *list), (list))
SEAM(void, freeifaddrs, (ifaddrs * list), (list))
SEAM(int, pthread_create,
     (pthread_t * thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument),
     (thread, attributes, entry, argument))
SEAM(int, pthread_join, (pthread_t thread, void** result), (thread, result))
SEAM(int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
SEAM(int, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
SEAM(int, pthread_cond_wait, (pthread_cond_t * cond, pthread_mutex_t* mutex), (cond, mutex))
SEAM(int, pthread_cond_timedwait,
     (pthread_cond_t * cond, pthread_mutex_t* mutex, const timespec* deadline),
     (cond, mutex, deadline))
SEAM(int, pthread_cond_signal, (pthread_cond_t * cond), (cond))
SEAM(time_t, time, (time_t * now), (now))
SEAM(char*, ctime_r, (const time_t* now, char* text), (now, text))
SEAM(int, usleep, (useconds_t microseconds), (microseconds))
SEAM(int, rand, (), ())
SEAM(pid_t, getpid, (), ())

extern "C" int __real_gettimeofday(timeval* now, void* zone);
extern "C" int __wrap_gettimeofday(timeval* now, void* zone) {
  return seam::calls.gettimeofday ? seam::calls.gettimeofday(now) : __real_gettimeofday(now, zone);
}

namespace seam {
const Calls real = {
    __real_socket,
    __real_bind,
    __real_setsockopt,
    __real_fcntl,
    __real_sendto,
    __real_recvfrom,
    __real_shutdown,
    __real_close,
    __real_getifaddrs,
    __real_freeifaddrs,
    __real_pthread_create,
    __real_pthread_join,
    __real_pthread_mutex_lock,
    __real_pthread_mutex_unlock,
    __real_pthread_cond_wait,
    __real_pthread_cond_timedwait,
    __real_pthread_cond_signal,
    [](timeval* now) { return __real_gettimeofday(now, nullptr); },
    __real_time,
    __real_ctime_r,
    __real_usleep,
    __real_rand,
    __real_getpid,
};
}  // namespace seam

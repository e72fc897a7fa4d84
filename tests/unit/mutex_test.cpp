// SPDX-License-Identifier: MIT
#include "mutex.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "seam.h"

namespace libSSDP {
namespace {

// The deadline that a timed wait of `timeout` ms asks for at second 100 and `microseconds`.
timespec DeadlineOf(int timeout, int microseconds) {
  timespec deadline = {};
  seam::calls.gettimeofday = [&](timeval* now) {
    *now = {100, microseconds};
    return 0;
  };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t*,
                                           const timespec* until) {
    deadline = *until;
    return ETIMEDOUT;
  };
  Mutex mutex;
  ConditionVariable cond(mutex);
  mutex.Lock();
  EXPECT_EQ(cond.Wait(timeout), ETIMEDOUT);
  mutex.Unlock();
  seam::Reset();
  return deadline;
}

TEST(ConditionVariable, CarriesMicrosecondsIntoTheNextSecond) {
  const timespec deadline = DeadlineOf(1500, 600000);
  EXPECT_EQ(deadline.tv_sec, 102);
  EXPECT_EQ(deadline.tv_nsec, 100000000);
}

}  // namespace
}  // namespace libSSDP

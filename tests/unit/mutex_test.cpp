// SPDX-License-Identifier: MIT
#include "mutex.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <future>
#include <thread>

#include "seam.h"

namespace libSSDP {
namespace {

// What TryLock answers on another thread, which lets go again at once.
int TryLockElsewhere(Mutex& mutex) {
  int result = -1;
  std::thread([&]() NO_THREAD_SAFETY_ANALYSIS {
    result = mutex.TryLock();
    if (result == 0) mutex.Unlock();
  }).join();
  return result;
}

class MutexLocks : public testing::Test {
 protected:
  ~MutexLocks() override { seam::Reset(); }

  Mutex m_mutex;
};

TEST_F(MutexLocks, ExcludeOtherThreadsUntilUnlocked) {
  EXPECT_EQ(TryLockElsewhere(m_mutex), 0);
  EXPECT_EQ(m_mutex.Lock(), 0);
  EXPECT_EQ(TryLockElsewhere(m_mutex), EBUSY);
  EXPECT_EQ(m_mutex.Unlock(), 0);
  EXPECT_EQ(TryLockElsewhere(m_mutex), 0);
}

// Outside the analysis, which knows of no lock that is taken twice or by an expectation.
void ExpectTryLockToTake(Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS {
  EXPECT_EQ(mutex.TryLock(), 0);
  EXPECT_EQ(TryLockElsewhere(mutex), EBUSY);
  mutex.Unlock();
}

void ExpectNotRecursive(Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS {
  mutex.Lock();
  EXPECT_EQ(mutex.TryLock(), EBUSY);
  mutex.Unlock();
}

TEST_F(MutexLocks, AreTakenByTryLock) {
  ExpectTryLockToTake(m_mutex);
}

TEST_F(MutexLocks, AreNotRecursive) {
  ExpectNotRecursive(m_mutex);
}

TEST_F(MutexLocks, HandTheSystemsResultThrough) {
  seam::calls.pthread_mutex_lock = [](pthread_mutex_t*) { return 11; };
  seam::calls.pthread_mutex_unlock = [](pthread_mutex_t*) { return 22; };
  EXPECT_EQ(m_mutex.Lock(), 11);
  EXPECT_EQ(m_mutex.Unlock(), 22);
}

TEST_F(MutexLocks, AreHeldForAScope) {
  {
    const ScopedLock lock(m_mutex);
    EXPECT_EQ(TryLockElsewhere(m_mutex), EBUSY);
  }
  EXPECT_EQ(TryLockElsewhere(m_mutex), 0);
}

TEST_F(MutexLocks, AreLetGoWhenSomethingIsThrown) {
  try {
    const ScopedLock lock(m_mutex);
    throw 1;
  } catch (int) {
  }
  EXPECT_EQ(TryLockElsewhere(m_mutex), 0);
}

TEST_F(MutexLocks, AreLeftAloneByAScopeThatCouldNotTakeThem) {
  int unlocked = 0;
  seam::calls.pthread_mutex_lock = [](pthread_mutex_t*) { return EINVAL; };
  seam::calls.pthread_mutex_unlock = [&](pthread_mutex_t*) { return ++unlocked; };
  { const ScopedLock lock(m_mutex); }
  EXPECT_EQ(unlocked, 0);
}

class Condition : public MutexLocks {
 protected:
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
    EXPECT_EQ(m_cond.Wait(timeout), ETIMEDOUT);
    return deadline;
  }

  void ExpectDeadline(int timeout, int microseconds, time_t seconds, long nanoseconds) {
    const timespec deadline = DeadlineOf(timeout, microseconds);
    EXPECT_EQ(deadline.tv_sec, seconds) << timeout << " ms at " << microseconds << " us";
    EXPECT_EQ(deadline.tv_nsec, nanoseconds) << timeout << " ms at " << microseconds << " us";
  }

  ConditionVariable m_cond{m_mutex};
};

TEST_F(Condition, WaitsUntilNowAndTheTimeout) {
  ExpectDeadline(0, 0, 100, 0);
  ExpectDeadline(0, 999999, 100, 999999000);
  ExpectDeadline(1, 0, 100, 1000000);
  ExpectDeadline(3000, 5, 103, 5000);
}

TEST_F(Condition, CarriesMicrosecondsIntoTheNextSecond) {
  ExpectDeadline(1500, 600000, 102, 100000000);
  ExpectDeadline(999, 999999, 101, 998999000);
  ExpectDeadline(1, 999000, 101, 0);
  ExpectDeadline(999, 1000, 101, 0);
}

TEST_F(Condition, TakesTheLongestTimeout) {
  ExpectDeadline(2147483647, 999999, 100 + 2147483 + 1, 646999000);
}

TEST_F(Condition, HasADeadlineInThePastForANegativeTimeout) {
  ExpectDeadline(-2, 0, 100, -2000000);
  ExpectDeadline(-2, 500000, 100, 498000000);
  ExpectDeadline(-1000, 7, 99, 7000);
  ExpectDeadline(-2147483647 - 1, 0, 100 - 2147483, -648000000);
}

TEST_F(Condition, ReturnsAtOnceFromANegativeTimeout) {
  m_mutex.Lock();
  EXPECT_EQ(m_cond.Wait(-5000), ETIMEDOUT);
  m_mutex.Unlock();
}

TEST_F(Condition, TimesOutAtOnceWithoutATimeoutAndASignal) {
  m_mutex.Lock();
  EXPECT_EQ(m_cond.Wait(0), ETIMEDOUT);
  EXPECT_EQ(TryLockElsewhere(m_mutex), EBUSY);  // held again
  m_mutex.Unlock();
}

TEST_F(Condition, HandsTheSystemsResultsThrough) {
  seam::calls.pthread_cond_timedwait = [](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
    return EINVAL;
  };
  seam::calls.pthread_cond_wait = [](pthread_cond_t*, pthread_mutex_t*) { return EPERM; };
  seam::calls.pthread_cond_signal = [](pthread_cond_t*) { return EAGAIN; };
  EXPECT_EQ(m_cond.Wait(5), EINVAL);
  EXPECT_EQ(m_cond.Wait(-1), EPERM);
  EXPECT_EQ(m_cond.Notify(), EAGAIN);
}

TEST_F(Condition, LooksAtNoClockWithoutALimit) {
  bool looked = false;
  seam::calls.gettimeofday = [&](timeval*) {
    looked = true;
    return 0;
  };
  seam::calls.pthread_cond_wait = [](pthread_cond_t*, pthread_mutex_t*) { return 0; };
  EXPECT_EQ(m_cond.Wait(-1), 0);
  EXPECT_FALSE(looked);
}

TEST_F(Condition, WaitsWithTheMutexThatItIsBoundTo) {
  pthread_mutex_t *locked = nullptr, *timed = nullptr, *untimed = nullptr;
  seam::calls.pthread_mutex_lock = [&](pthread_mutex_t* mutex) {
    locked = mutex;
    return seam::real.pthread_mutex_lock(mutex);
  };
  seam::calls.pthread_cond_timedwait = [&](pthread_cond_t*, pthread_mutex_t* mutex,
                                           const timespec*) {
    timed = mutex;
    return 0;
  };
  seam::calls.pthread_cond_wait = [&](pthread_cond_t*, pthread_mutex_t* mutex) {
    untimed = mutex;
    return 0;
  };
  m_mutex.Lock();
  m_cond.Wait(5);
  m_cond.Wait(-1);
  m_mutex.Unlock();
  EXPECT_NE(locked, nullptr);
  EXPECT_EQ(timed, locked);
  EXPECT_EQ(untimed, locked);
}

// Real threads: the waiter holds the mutex from before it says so until it waits, so whoever locks
// after that finds it waiting.
int NotifiedWait(Mutex& mutex, ConditionVariable& cond, int timeout) {
  std::promise<void> holding;
  auto waited = std::async(std::launch::async, [&]() NO_THREAD_SAFETY_ANALYSIS {
    mutex.Lock();
    holding.set_value();
    const int result = cond.Wait(timeout);
    mutex.Unlock();
    return result;
  });
  holding.get_future().wait();
  mutex.Lock();
  EXPECT_EQ(cond.Notify(), 0);
  mutex.Unlock();
  return waited.get();
}

TEST_F(Condition, WaitsWithoutALimitUntilNotified) {
  EXPECT_EQ(NotifiedWait(m_mutex, m_cond, -1), 0);
}

TEST_F(Condition, EndsATimedWaitWhenNotified) {
  EXPECT_EQ(NotifiedWait(m_mutex, m_cond, 600000), 0);
}

TEST_F(Condition, IsSignalledOnceAndNotBroadcast) {
  int signals = 0;
  seam::calls.pthread_cond_signal = [&](pthread_cond_t* cond) {
    ++signals;
    return seam::real.pthread_cond_signal(cond);
  };
  EXPECT_EQ(m_cond.Notify(), 0);  // with nobody waiting
  EXPECT_EQ(signals, 1);
}

}  // namespace
}  // namespace libSSDP

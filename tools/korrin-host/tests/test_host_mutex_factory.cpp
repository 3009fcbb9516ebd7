// The reference host's lock factory (the host kit's): ordinary and
// re-entrant locks on the standard mutexes.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "korrin/host/lock_factory.h"

namespace {

using MutexFactory = korrin::host::LockFactory;

// Starts a thread that takes `mutex` and sets `taken`; the caller joins it.
std::thread take_in_other_thread(korrin::MutexInterface* mutex, std::atomic<bool>& taken) {
  return std::thread([mutex, &taken] {
    mutex->lock();
    taken = true;
    mutex->unlock();
  });
}

void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

TEST(HostMutexFactory, MakesTheKindOfLockAskedFor) {
  MutexFactory factory;
  korrin::MutexInterface* ordinary = factory.create_mutex(false);
  korrin::MutexInterface* recursive = factory.create_mutex(true);
  const auto* ordinary_lock = dynamic_cast<korrin::host::Lock*>(ordinary);
  const auto* recursive_lock = dynamic_cast<korrin::host::Lock*>(recursive);
  ASSERT_NE(ordinary_lock, nullptr);
  ASSERT_NE(recursive_lock, nullptr);
  EXPECT_FALSE(ordinary_lock->recursive());
  EXPECT_TRUE(recursive_lock->recursive());
  factory.destroy_mutex(ordinary);
  factory.destroy_mutex(recursive);
}

TEST(HostMutexFactory, CountsLiveAndCreatedLocks) {
  MutexFactory factory;
  korrin::MutexInterface* a = factory.create_mutex(false);
  korrin::MutexInterface* b = factory.create_mutex(true);
  EXPECT_EQ(factory.live(), 2);
  factory.destroy_mutex(a);
  EXPECT_EQ(factory.live(), 1);
  factory.destroy_mutex(nullptr);
  EXPECT_EQ(factory.live(), 1);
  factory.destroy_mutex(b);
  EXPECT_EQ(factory.live(), 0);
  EXPECT_EQ(factory.created(), 2);
}

TEST(HostMutexFactory, OrdinaryLockKeepsOtherThreadsOutUntilReleased) {
  MutexFactory factory;
  korrin::MutexInterface* mutex = factory.create_mutex(false);
  std::atomic<bool> taken{false};
  mutex->lock();
  std::thread other = take_in_other_thread(mutex, taken);
  settle();
  EXPECT_FALSE(taken);
  mutex->unlock();
  other.join();
  EXPECT_TRUE(taken);
  factory.destroy_mutex(mutex);
}

TEST(HostMutexFactory, RecursiveLockIsTakenAgainByItsHolderAndReleasedByTheLastUnlock) {
  MutexFactory factory;
  korrin::MutexInterface* mutex = factory.create_mutex(true);
  std::atomic<bool> taken{false};
  mutex->lock();
  mutex->lock();  // would deadlock on an ordinary lock
  std::thread other = take_in_other_thread(mutex, taken);
  mutex->unlock();
  settle();
  EXPECT_FALSE(taken);
  mutex->unlock();
  other.join();
  EXPECT_TRUE(taken);
  factory.destroy_mutex(mutex);
}

TEST(HostMutexFactory, LocksSerialiseConcurrentUpdates) {
  MutexFactory factory;
  for (const bool recursive : {false, true}) {
    korrin::MutexInterface* mutex = factory.create_mutex(recursive);
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 20000; ++i) {
          mutex->lock();
          ++counter;
          mutex->unlock();
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    EXPECT_EQ(counter, 80000) << "recursive=" << recursive;
    factory.destroy_mutex(mutex);
  }
}

}  // namespace

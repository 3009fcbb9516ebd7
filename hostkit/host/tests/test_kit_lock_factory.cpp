// korrin::host::LockFactory: ordinary and re-entrant locks on the standard
// library, and the misuses it reports instead of deadlocking.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "korrin/host/lock_factory.h"
#include "support/recording_log.h"

namespace {

using korrin::host::LockFactory;
using korrin::host::LockFactoryOptions;
using std::chrono::milliseconds;

// A factory whose misuse reports are collected instead of aborting.
class KitLockFactory : public ::testing::Test {
 protected:
  LockFactoryOptions recording() {
    LockFactoryOptions options;
    options.on_misuse = [this](const std::string& what) {
      std::lock_guard<std::mutex> guard(mutex);
      misuses.push_back(what);
    };
    return options;
  }
  std::vector<std::string> reported() {
    std::lock_guard<std::mutex> guard(mutex);
    return misuses;
  }

  std::mutex mutex;
  std::vector<std::string> misuses;
};

TEST_F(KitLockFactory, AReEntrantLockIsTakenAgainByItsHolderAndExcludesOthers) {
  LockFactory factory(recording());
  korrin::MutexInterface* lock = factory.create_mutex(true);
  lock->lock();
  lock->lock();  // the holder takes it again
  std::atomic<bool> other_has_it{false};
  std::thread other([&] {
    lock->lock();
    other_has_it = true;
    lock->unlock();
  });
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(other_has_it.load());
  lock->unlock();
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_FALSE(other_has_it.load());  // still held once
  lock->unlock();
  other.join();
  EXPECT_TRUE(other_has_it.load());
  factory.destroy_mutex(lock);
  EXPECT_TRUE(reported().empty());
}

TEST_F(KitLockFactory, AnOrdinaryLockExcludesOtherThreads) {
  LockFactory factory(recording());
  korrin::MutexInterface* lock = factory.create_mutex(false);
  int counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        lock->lock();
        ++counter;
        lock->unlock();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(counter, 4000);
  factory.destroy_mutex(lock);
  EXPECT_TRUE(reported().empty());
}

TEST_F(KitLockFactory, TakingAnOrdinaryLockTwiceIsReportedInsteadOfDeadlocking) {
  LockFactory factory(recording());
  korrin::MutexInterface* lock = factory.create_mutex(false);
  lock->lock();
  lock->lock();
  lock->unlock();
  EXPECT_EQ(reported(), std::vector<std::string>{
                            "lock: an ordinary lock was taken again by the thread that holds it; "
                            "it would deadlock (ask the factory for a re-entrant lock); the "
                            "second lock() is skipped"});
  factory.destroy_mutex(lock);
}

TEST_F(KitLockFactory, UnlockingALockNotHeldOrHeldByAnotherThreadIsReported) {
  LockFactory factory(recording());
  korrin::MutexInterface* plain = factory.create_mutex(false);
  korrin::MutexInterface* reentrant = factory.create_mutex(true);
  plain->unlock();
  reentrant->unlock();
  reentrant->lock();
  std::thread other([&] { reentrant->unlock(); });
  other.join();
  reentrant->unlock();
  EXPECT_EQ(reported(),
            (std::vector<std::string>{
                "unlock: the lock is not held; skipped", "unlock: the lock is not held; skipped",
                "unlock: called by a thread that does not hold the lock; skipped"}));
  factory.destroy_mutex(plain);
  factory.destroy_mutex(reentrant);
  EXPECT_EQ(factory.live(), 0);
}

TEST_F(KitLockFactory, DestroyingAHeldOrForeignLockIsReportedAndDeletesNothing) {
  LockFactory factory(recording());
  LockFactory other_factory(recording());
  korrin::MutexInterface* lock = factory.create_mutex(false);
  korrin::MutexInterface* foreign = other_factory.create_mutex(true);
  lock->lock();
  factory.destroy_mutex(lock);
  EXPECT_EQ(factory.live(), 1);
  lock->unlock();
  factory.destroy_mutex(lock);
  factory.destroy_mutex(foreign);
  factory.destroy_mutex(nullptr);
  EXPECT_EQ(reported(),
            (std::vector<std::string>{"destroy_mutex: the lock is still held; not deleted",
                                      "destroy_mutex: the lock was not made by this factory or "
                                      "was destroyed before; not deleted"}));
  EXPECT_EQ(factory.live(), 0);
  EXPECT_EQ(factory.created(), 1);
  other_factory.destroy_mutex(foreign);
}

TEST_F(KitLockFactory, CountsLiveLocksAndReportsLeftoversAtItsEnd) {
  korrin::MutexInterface* leftover = nullptr;
  {
    LockFactory factory(recording());
    korrin::MutexInterface* a = factory.create_mutex(true);
    leftover = factory.create_mutex(false);
    EXPECT_EQ(factory.live(), 2);
    EXPECT_EQ(factory.created(), 2);
    factory.destroy_mutex(a);
    EXPECT_EQ(factory.live(), 1);
  }
  EXPECT_EQ(reported(), std::vector<std::string>{
                            "~LockFactory: 1 lock(s) were never destroyed; they are leaked"});
  delete leftover;
}

TEST(KitLockFactoryDeathTest, ByDefaultAMisuseIsLoggedAndAborts) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        kit_test::RecordingLog log;
        LockFactoryOptions options;
        options.log = &log;
        LockFactory factory(options);
        korrin::MutexInterface* lock = factory.create_mutex(false);
        lock->unlock();
      },
      "Host::LockFactory: unlock: the lock is not held; skipped");
}

}  // namespace

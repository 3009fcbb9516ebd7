// The planner's lock factory: library locks backed by std::mutex (ordinary)
// and std::recursive_mutex (re-entrant for the thread that holds it). The
// planner also runs where the host kit is not built (the WebAssembly page,
// which has no threads or libcurl), so it carries this small factory of its
// own; `korrin-host run` uses the kit's korrin::host::LockFactory.
#ifndef KORRIN_HOST_MUTEX_FACTORY_H
#define KORRIN_HOST_MUTEX_FACTORY_H

#include <atomic>
#include <mutex>

#include "korrin/plugins.h"

namespace korrin_host {

/// A library lock on std::mutex; locking it twice on one thread deadlocks.
class StdMutex : public korrin::MutexInterface {
 public:
  void lock() override { mutex_.lock(); }
  void unlock() override { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// A library lock on std::recursive_mutex.
class StdRecursiveMutex : public korrin::MutexInterface {
 public:
  void lock() override { mutex_.lock(); }
  void unlock() override { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

/// Makes StdMutex / StdRecursiveMutex objects and counts the live ones, so
/// that a host can check at shut-down that the library returned every lock.
class MutexFactory : public korrin::MutexFactoryInterface {
 public:
  /// A new lock owned by the caller until destroy_mutex().
  korrin::MutexInterface* create_mutex(bool recursive) override;
  /// Deletes a lock made by create_mutex(); null is ignored.
  void destroy_mutex(korrin::MutexInterface* mutex) override;

  /// Locks created and not yet destroyed.
  int live() const { return live_.load(); }
  /// Locks created since construction.
  int created() const { return created_.load(); }

 private:
  std::atomic<int> live_{0};
  std::atomic<int> created_{0};
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_MUTEX_FACTORY_H

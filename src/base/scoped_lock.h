// RAII ownership of a host lock, so that no library lock stays taken when a
// host call throws.
#ifndef KORRIN_SRC_BASE_SCOPED_LOCK_H
#define KORRIN_SRC_BASE_SCOPED_LOCK_H

#include "korrin/plugins.h"

namespace korrin {
namespace detail {

/// Holds `mutex` from construction to destruction; unlock()/lock() release
/// and retake it in between (for work that must run without the lock).
class ScopedLock {
 public:
  explicit ScopedLock(MutexInterface* mutex) : mutex_(mutex) { lock(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;
  ~ScopedLock() {
    if (held_) {
      mutex_->unlock();
    }
  }

  void lock() {
    mutex_->lock();
    held_ = true;
  }
  void unlock() {
    held_ = false;
    mutex_->unlock();
  }

 private:
  MutexInterface* mutex_;
  bool held_ = false;
};

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_BASE_SCOPED_LOCK_H

#include "korrin/host/lock_factory.h"

#include <cstdio>
#include <cstdlib>

namespace korrin {
namespace host {

Lock::Lock(bool recursive, const LockMisuseHandler* on_misuse)
    : recursive_(recursive), on_misuse_(on_misuse) {}

bool Lock::held() const { return owner_.load() != std::thread::id(); }

void Lock::lock() {
  const std::thread::id self = std::this_thread::get_id();
  if (recursive_) {
    reentrant_.lock();
    owner_.store(self);
    ++depth_;
    return;
  }
  if (owner_.load() == self) {
    (*on_misuse_)(
        "lock: an ordinary lock was taken again by the thread that holds it; it would deadlock "
        "(ask the factory for a re-entrant lock); the second lock() is skipped");
    return;
  }
  plain_.lock();
  owner_.store(self);
  depth_ = 1;
}

void Lock::unlock() {
  if (owner_.load() != std::this_thread::get_id()) {
    (*on_misuse_)(held() ? "unlock: called by a thread that does not hold the lock; skipped"
                         : "unlock: the lock is not held; skipped");
    return;
  }
  if (--depth_ == 0) {
    owner_.store(std::thread::id());
  }
  if (recursive_) {
    reentrant_.unlock();
  } else {
    plain_.unlock();
  }
}

LockFactory::LockFactory(LockFactoryOptions options) : options_(std::move(options)) {
  if (options_.on_misuse) {
    handler_ = options_.on_misuse;
  } else {
    korrin::log::HostLogInterface* log = options_.log;
    handler_ = [log](const std::string& what) {
      const std::string text = "Host::LockFactory: " + what;
      if (log != nullptr) {
        log->write_record(korrin::log::critical, text);
      }
      std::fprintf(stderr, "%s\n", text.c_str());
      std::abort();
    };
  }
}

LockFactory::~LockFactory() {
  std::size_t left = 0;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    left = live_.size();
  }
  if (left > 0) {
    misuse("~LockFactory: " + std::to_string(left) +
           " lock(s) were never destroyed; they are leaked");
  }
}

void LockFactory::misuse(const std::string& what) const { handler_(what); }

korrin::MutexInterface* LockFactory::create_mutex(bool recursive) {
  Lock* lock = new Lock(recursive, &handler_);
  std::lock_guard<std::mutex> guard(mutex_);
  live_.insert(lock);
  ++created_;
  return lock;
}

void LockFactory::destroy_mutex(korrin::MutexInterface* mutex) {
  if (mutex == nullptr) {
    return;
  }
  bool known = false;
  bool held = false;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    known = live_.count(mutex) == 1;
    held = known && static_cast<Lock*>(mutex)->held();
    if (known && !held) {
      live_.erase(mutex);
    }
  }
  if (!known) {
    misuse(
        "destroy_mutex: the lock was not made by this factory or was destroyed before; "
        "not deleted");
    return;
  }
  if (held) {
    // Deleting a held mutex is undefined; the lock stays alive (and counted).
    misuse("destroy_mutex: the lock is still held; not deleted");
    return;
  }
  delete static_cast<Lock*>(mutex);
}

int LockFactory::live() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return static_cast<int>(live_.size());
}

int LockFactory::created() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return created_;
}

}  // namespace host
}  // namespace korrin

// The lock factory libkorrin creates its locks through, on the standard
// library's mutexes, with checks for misuse.
#ifndef KORRIN_HOST_LOCK_FACTORY_H
#define KORRIN_HOST_LOCK_FACTORY_H

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "korrin/host_log.h"
#include "korrin/plugins.h"

namespace korrin {
namespace host {

/// Called with a description of a misuse of a lock. The default handler writes
/// the description to the log sink (critical) and to standard error, then
/// aborts: a lock misused is a bug that must not go unnoticed on a device.
using LockMisuseHandler = std::function<void(const std::string& what)>;

struct LockFactoryOptions {
  /// Where misuse is reported by the default handler (may be null).
  korrin::log::HostLogInterface* log = nullptr;
  /// Replaces the default handler (tests record misuse with it). When the
  /// handler returns, the offending operation is skipped: a re-lock does not
  /// lock, an unlock that is not the holder's does not unlock.
  LockMisuseHandler on_misuse;
};

/// A lock made by LockFactory: std::mutex, or std::recursive_mutex when it
/// was asked for as re-entrant. Both remember which thread holds them, so
/// that the misuses below are reported instead of deadlocking or undefined:
/// - an ordinary lock taken again by the thread that holds it;
/// - unlock() by a thread that does not hold the lock (or when nobody does).
class Lock : public korrin::MutexInterface {
 public:
  Lock(bool recursive, const LockMisuseHandler* on_misuse);
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  void lock() override;
  void unlock() override;

  bool recursive() const { return recursive_; }
  /// Whether some thread holds the lock now.
  bool held() const;

 private:
  const bool recursive_;
  const LockMisuseHandler* on_misuse_;
  std::mutex plain_;
  std::recursive_mutex reentrant_;
  std::atomic<std::thread::id> owner_{};
  // Written only by the holder.
  int depth_ = 0;
};

/// korrin::MutexFactoryInterface on Lock.
///
/// create_mutex(true) gives a re-entrant lock, create_mutex(false) an ordinary
/// one. destroy_mutex() deletes a lock made by this factory; destroying a lock
/// that is held, or a pointer this factory did not make, is reported as
/// misuse and deletes nothing. The factory counts its live locks so that a host can check at
/// shut-down that the library returned every one.
///
/// Threads: every operation may be called from any thread. Ownership: the
/// caller owns a lock from create_mutex() until destroy_mutex(); the factory
/// must outlive every lock it made (a host destroys it after
/// korrin::config::delete_config_manager()).
class LockFactory : public korrin::MutexFactoryInterface {
 public:
  explicit LockFactory(LockFactoryOptions options = LockFactoryOptions());
  LockFactory(const LockFactory&) = delete;
  LockFactory& operator=(const LockFactory&) = delete;
  /// Reports locks still alive (as misuse) but does not delete them.
  ~LockFactory() override;

  korrin::MutexInterface* create_mutex(bool recursive) override;
  /// Null is ignored.
  void destroy_mutex(korrin::MutexInterface* mutex) override;

  /// Locks created and not yet destroyed.
  int live() const;
  /// Locks created since construction.
  int created() const;

 private:
  void misuse(const std::string& what) const;

  LockFactoryOptions options_;
  LockMisuseHandler handler_;
  mutable std::mutex mutex_;
  std::set<const korrin::MutexInterface*> live_;
  int created_ = 0;
};

}  // namespace host
}  // namespace korrin

#endif  // KORRIN_HOST_LOCK_FACTORY_H

// Checks over a single-threaded call log: which calls were made while a
// fake lock was held.
#ifndef KORRIN_TESTING_LOCK_CHECKS_H
#define KORRIN_TESTING_LOCK_CHECKS_H

#include <string>
#include <vector>

namespace korrin {
namespace testing {

/// The lines of `lines` starting with one of `prefixes` that were recorded
/// while one of the locks `lock_ids` (all locks when empty) was held, judged
/// from the "mutex.lock(#n)" / "mutex.unlock(#n)" lines before them.
std::vector<std::string> lines_under_lock(const std::vector<std::string>& lines,
                                          const std::vector<std::string>& prefixes,
                                          const std::vector<int>& lock_ids = {});

/// Lock ids whose "mutex.lock" lines outnumber their "mutex.unlock" lines.
std::vector<int> locks_left_held(const std::vector<std::string>& lines);

/// Highest nesting depth that lock `lock_id` reached in `lines`.
int max_lock_depth(const std::vector<std::string>& lines, int lock_id);

}  // namespace testing
}  // namespace korrin

#endif  // KORRIN_TESTING_LOCK_CHECKS_H

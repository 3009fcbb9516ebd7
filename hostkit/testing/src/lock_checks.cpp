#include "korrin/testing/lock_checks.h"

#include <algorithm>
#include <map>

namespace korrin {
namespace testing {

namespace {

const std::string kLock = "mutex.lock(#";
const std::string kUnlock = "mutex.unlock(#";

bool starts_with(const std::string& line, const std::string& prefix) {
  return line.compare(0, prefix.size(), prefix) == 0;
}

// +1 for a lock line, -1 for an unlock line, 0 otherwise; `id` receives the lock.
int lock_step(const std::string& line, int* id) {
  if (starts_with(line, kLock)) {
    *id = std::stoi(line.substr(kLock.size()));
    return 1;
  }
  if (starts_with(line, kUnlock)) {
    *id = std::stoi(line.substr(kUnlock.size()));
    return -1;
  }
  return 0;
}

}  // namespace

std::vector<std::string> lines_under_lock(const std::vector<std::string>& lines,
                                          const std::vector<std::string>& prefixes,
                                          const std::vector<int>& lock_ids) {
  std::map<int, int> depth;
  std::vector<std::string> out;
  for (const auto& line : lines) {
    // Judge each line by the locks held before it (a lock line included).
    bool held = false;
    for (const auto& entry : depth) {
      const bool watched = lock_ids.empty() || std::find(lock_ids.begin(), lock_ids.end(),
                                                         entry.first) != lock_ids.end();
      held = held || (watched && entry.second > 0);
    }
    const bool matches = std::any_of(prefixes.begin(), prefixes.end(),
                                     [&](const std::string& p) { return starts_with(line, p); });
    if (held && matches) {
      out.push_back(line);
    }
    int id = 0;
    const int step = lock_step(line, &id);
    if (step != 0) {
      depth[id] += step;
    }
  }
  return out;
}

std::vector<int> locks_left_held(const std::vector<std::string>& lines) {
  std::map<int, int> depth;
  for (const auto& line : lines) {
    int id = 0;
    const int step = lock_step(line, &id);
    if (step != 0) {
      depth[id] += step;
    }
  }
  std::vector<int> out;
  for (const auto& entry : depth) {
    if (entry.second != 0) {
      out.push_back(entry.first);
    }
  }
  return out;
}

int max_lock_depth(const std::vector<std::string>& lines, int lock_id) {
  int depth = 0;
  int deepest = 0;
  for (const auto& line : lines) {
    int id = 0;
    const int step = lock_step(line, &id);
    if (step != 0 && id == lock_id) {
      depth += step;
      deepest = std::max(deepest, depth);
    }
  }
  return deepest;
}

}  // namespace testing
}  // namespace korrin

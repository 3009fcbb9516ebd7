// Helpers for tests of the configuration document: a headset configuration
// object whose downgrade policy and inner state a test can reach, record
// texts with the logger's name, and the stored settings as text.
#ifndef KORRIN_TESTS_SUPPORT_CONFIG_PROBE_H
#define KORRIN_TESTS_SUPPORT_CONFIG_PROBE_H

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "korrin/korrin.h"

namespace korrin_test {

/// A headset configuration object ("HeadsetConfigImpl" records, type 1) that
/// lets a test choose the downgrade policy and read the protected state.
class ProbeConfig : public korrin::config::ConfigImpl {
 public:
  ProbeConfig(const std::string& id, const korrin::AccessoryInfoInterface* accessory)
      : korrin::config::ConfigImpl(id, accessory, "HeadsetConfigImpl") {
    type_ = 1;
  }

  /// When set, the answer of the downgrade policy; otherwise the library's own.
  std::optional<bool> downgrade_policy;
  /// How often check_firmware_upgrade() asked the policy.
  mutable int policy_questions = 0;

  std::string requested_firmware() const { return requested_firmware_; }
  std::string model_name() const { return model_name_; }
  double last_updated_time() const { return last_updated_time_; }
  void set_last_updated_time(double time) { last_updated_time_ = time; }
  void set_requested_firmware(const std::string& version) { requested_firmware_ = version; }

 protected:
  bool supports_downgrade() const override {
    ++policy_questions;
    return downgrade_policy.has_value() ? *downgrade_policy
                                        : korrin::config::ConfigImpl::supports_downgrade();
  }
};

/// `texts` each prefixed with "HeadsetConfigImpl: ", as the records of a
/// headset configuration object read.
inline std::vector<std::string> headset_records(const std::vector<std::string>& texts) {
  std::vector<std::string> out;
  out.reserve(texts.size());
  for (const auto& text : texts) {
    out.push_back("HeadsetConfigImpl: " + text);
  }
  return out;
}

/// One line per stored setting: "id key=... value=... access=... user_value=...".
inline std::vector<std::string> describe_settings(
    const std::map<int, korrin::ConfigParam>& settings) {
  std::vector<std::string> out;
  for (const auto& entry : settings) {
    std::ostringstream line;
    line << entry.first << " usage_id=" << entry.second.usage_id << " key=" << entry.second.key
         << " value=" << entry.second.value << " access=" << entry.second.access
         << " user_value=" << entry.second.user_value;
    out.push_back(line.str());
  }
  return out;
}

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_CONFIG_PROBE_H

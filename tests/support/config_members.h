// Test access to a configuration object's protected state, and an accessory
// description that notes its own destruction in the call log.
#ifndef KORRIN_TESTS_SUPPORT_CONFIG_MEMBERS_H
#define KORRIN_TESTS_SUPPORT_CONFIG_MEMBERS_H

#include <string>

#include "korrin/config.h"
#include "support/fake_host.h"

namespace korrin_test {

/// Pointers to ConfigImpl's protected members. Naming them through a derived
/// class is allowed, and the resulting pointers work on any ConfigImpl (the
/// plain ConfigImpl a clone() returns included). Never instantiated.
struct ConfigMembers : korrin::config::ConfigImpl {
  using Impl = korrin::config::ConfigImpl;
  static constexpr std::string Impl::*model_name = &ConfigMembers::model_name_;
  static constexpr double Impl::*last_updated_time = &ConfigMembers::last_updated_time_;
  static constexpr std::string Impl::*requested_firmware = &ConfigMembers::requested_firmware_;
  static constexpr std::string Impl::*logger_name = &ConfigMembers::logger_name_;
  static constexpr korrin::log::Logger* Impl::*logger = &ConfigMembers::logger_;
  static constexpr korrin::MutexInterface* Impl::*settings_lock = &ConfigMembers::settings_lock_;
  static constexpr korrin::MutexInterface* Impl::*firmware_lock = &ConfigMembers::firmware_lock_;
};

/// A fake accessory whose copies note "accessory.destroyed" in `log` when
/// they are deleted, so a test can see where in a sequence a copy goes.
class NotingAccessory : public FakeAccessory {
 public:
  NotingAccessory(const AccessoryData& data, CallLog* log) : FakeAccessory(data, log), log_(log) {}
  NotingAccessory(const NotingAccessory& other) = default;
  ~NotingAccessory() override { log_->note("accessory.destroyed"); }
  korrin::AccessoryInfoInterface* clone() const override {
    log_->record("accessory.clone");  // as FakeAccessory records it (fault injection included)
    return new NotingAccessory(*this);
  }

 private:
  CallLog* log_;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_CONFIG_MEMBERS_H

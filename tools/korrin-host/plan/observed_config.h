// The configuration object a plan registers for its accessory: exactly the
// library's headset or camera object, with read access to the state the
// library keeps about the document it took.
#ifndef KORRIN_PLAN_OBSERVED_CONFIG_H
#define KORRIN_PLAN_OBSERVED_CONFIG_H

#include <string>

#include "korrin/config.h"

namespace korrin_plan {

/// What a plan reads from its configuration object after the document.
class ObservedConfig {
 public:
  virtual ~ObservedConfig() = default;
  /// The object itself, as the manager and the plan use it.
  virtual korrin::config::ConfigImpl* config() = 0;
  /// The version time of the configuration the object took (0 = none).
  virtual double version_time() const = 0;
  /// Whether the library decided on a firmware version (it records one on
  /// every decision, and none for "Current", "LATEST" or a failed step).
  virtual bool firmware_decided() const = 0;
  /// The version decided on; empty when none was.
  virtual std::string decided_firmware() const = 0;
};

/// A library configuration class (HeadsetConfigImpl or CameraConfigImpl)
/// whose protected state can be read. It adds no behaviour: the library's own
/// code runs on it. The only difference is the starting value of the
/// requested firmware, a marker that no document decision can produce, so
/// that "no decision" and "decided on an empty version" stay apart.
template <class Leaf>
class ObservedLeafConfig : public Leaf, public ObservedConfig {
 public:
  ObservedLeafConfig(const std::string& id, const korrin::AccessoryInfoInterface* accessory)
      : Leaf(id, accessory) {
    this->requested_firmware_ = undecided();
  }

  korrin::config::ConfigImpl* config() override { return this; }
  double version_time() const override { return this->last_updated_time_; }
  bool firmware_decided() const override { return this->requested_firmware_ != undecided(); }
  std::string decided_firmware() const override {
    return firmware_decided() ? this->requested_firmware_ : std::string();
  }

 private:
  // Control characters at both ends: no firmware version looks like this.
  static std::string undecided() { return "\x01korrin-host plan: no firmware decision\x01"; }
};

}  // namespace korrin_plan

#endif  // KORRIN_PLAN_OBSERVED_CONFIG_H

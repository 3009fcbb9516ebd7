/// \file
/// Per-accessory configuration objects as the host sees them: one stored
/// setting, the object's interface and its create/delete pair.
#ifndef KORRIN_CONFIG_H
#define KORRIN_CONFIG_H

#include <atomic>
#include <map>
#include <string>

#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {

/// One stored setting of an accessory.
struct KORRIN_API ConfigParam {
  int usage_id = 0;        ///< the setting's usage id (its map key)
  std::string key;         ///< the setting's name as the device knows it
  std::string value;       ///< the configured value, numbers as decimal text
  std::string access;      ///< "User", "Admin" or "Both" (document spelling kept)
  std::string user_value;  ///< the user's own value of a "Both" setting
};

namespace config {

/// How apply_config_to_device() treats the settings; any value other than
/// CONFIGURE counts as RESET.
enum ApplyType : int { CONFIGURE = 0, RESET = 1 };

/// Abstract configuration object of one accessory. The order of the virtual
/// operations is part of the binary interface.
class KORRIN_API ConfigInterface {
 public:
  /// Takes over a configuration document; true when it was taken.
  virtual bool update_from_server(std::string const& document) = 0;
  /// Stores one setting handed over by the host; always true.
  virtual bool update_from_host(std::string const& key, int usage_id, std::string const& value) = 0;
  /// The address to fetch the configuration document from.
  virtual std::string get_config_url() const = 0;
  /// Pushes the stored settings to the device.
  virtual void apply_config_to_device(ApplyType type) const = 0;
  /// A copy of the settings map (read without the lock).
  virtual std::map<int, ConfigParam> retrieve_config() = 0;
  /// 1 = headset, 2 = camera.
  virtual int get_type() const = 0;
  /// The object's own copy of the accessory description.
  virtual AccessoryInfoInterface const* get_accessory() const = 0;
  /// The id under which the host registered the accessory.
  virtual std::string get_accessory_id() const = 0;
  /// Retry counter of the configure flow.
  virtual int get_config_retries() const;
  /// Stores the retry counter.
  virtual void set_config_retries(int retries);
  /// Whether a configure request with this version stamp must be acted on.
  virtual bool is_config_required(std::string const& timestamp) const = 0;
  /// Asks the device to return to its defaults; always true.
  virtual bool reset_config() = 0;
  /// Re-binds the object to a re-plugged accessory; always true.
  virtual bool update(AccessoryInfoInterface const* accessory) = 0;
  /// A new copy owned by the caller.
  virtual ConfigInterface* clone() = 0;
  virtual ~ConfigInterface();

 protected:
  ConfigInterface() = default;
  /// Copies the retry counter.
  ConfigInterface(const ConfigInterface& other) : config_retries_(other.config_retries_.load()) {}
  ConfigInterface& operator=(const ConfigInterface&) = delete;

  /// Retry counter of the configure flow. Atomic because a request's
  /// clean-up resets the counters of the pending objects on the
  /// dispatcher's thread while a host thread may be cloning an object that
  /// has just joined the pending set.
  std::atomic<int> config_retries_{0};
};

}  // namespace config
}  // namespace korrin

/// A new configuration object for the accessory's type (1 headset, 2 camera),
/// or null for another type. `info` must not be null; the caller owns the
/// result and frees it with delete_config().
KORRIN_API korrin::config::ConfigInterface* create_config(
    const std::string& id, const korrin::AccessoryInfoInterface* info);
/// Destroys a configuration object; null is ignored.
KORRIN_API void delete_config(korrin::config::ConfigInterface* config);

// The exported implementation classes, for code that included them from here.
#include "korrin/compat/config_impl.h"

#endif  // KORRIN_CONFIG_H

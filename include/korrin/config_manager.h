/// \file
/// The configuration manager as the host drives it, and its create/delete
/// pair.
#ifndef KORRIN_CONFIG_MANAGER_H
#define KORRIN_CONFIG_MANAGER_H

#include <map>
#include <string>

#include "korrin/config.h"
#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {
namespace config {

/// What the host drives accessory configuration through. The order of the
/// virtual operations is part of the binary interface.
class KORRIN_API ConfigManager {
 public:
  /// Registers (or refreshes) an accessory and asks for its configuration.
  /// Returns `id` when a configure request is queued or running, else "".
  virtual std::string initialize_accessory(const std::string& id,
                                           const korrin::AccessoryInfoInterface* info) = 0;
  /// Starts (or joins) a configure request; `time` is the host's version stamp.
  virtual bool configure_accessory(const std::string& id, std::string time) = 0;
  /// Forgets an accessory and deletes its configuration object.
  virtual void remove_accessory(const std::string& id) = 0;
  /// Completion of a pending fetch with the document.
  virtual bool on_fetch_config_success(std::string& data) = 0;
  /// Failure of a pending fetch; retried at most twice.
  virtual bool on_fetch_config_failure(int reason) = 0;
  /// Puts the accessory's settings back to their defaults.
  virtual bool reset_to_admin_defaults(const std::string& id) = 0;
  /// A copy of the accessory's settings; empty for an unknown id.
  virtual std::map<int, korrin::ConfigParam> retrieve_config(const std::string& id) = 0;
  /// The value of one setting; empty when absent.
  virtual std::string retrieve_config(const std::string& id, int usage_id) = 0;
  virtual ~ConfigManager();
};

/// The manager singleton as its interface.
KORRIN_API ConfigManager* create_config_manager();
/// Deletes the manager singleton and everything it owns.
KORRIN_API void delete_config_manager();

}  // namespace config
}  // namespace korrin

// The exported implementation classes, for code that included them from here.
#include "korrin/compat/config_manager_impl.h"

#endif  // KORRIN_CONFIG_MANAGER_H

/// \file
/// The configuration manager singleton behind ConfigManager: the registry of
/// accessories and the configure flow, with the parameters of its task.
#ifndef KORRIN_COMPAT_CONFIG_MANAGER_IMPL_H
#define KORRIN_COMPAT_CONFIG_MANAGER_IMPL_H

#include <map>
#include <set>
#include <string>

#include "korrin/compat/config_impl.h"
#include "korrin/config.h"
#include "korrin/config_manager.h"
#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {
namespace config {

/// The process-wide configuration manager.
class KORRIN_API ConfigManagerImpl : public ConfigManager {
 public:
  /// The singleton, created on first use. Throws std::runtime_error
  /// "plugins hasn't been initialized properly" before init().
  static ConfigManagerImpl* get_instance();
  /// Deletes the singleton; harmless when there is none.
  static void delete_instance();

  std::string initialize_accessory(const std::string& id,
                                   const korrin::AccessoryInfoInterface* info) override;
  bool configure_accessory(const std::string& id, std::string time) override;
  void remove_accessory(const std::string& id) override;
  bool on_fetch_config_success(std::string& data) override;
  bool on_fetch_config_failure(int reason) override;
  bool reset_to_admin_defaults(const std::string& id) override;
  std::map<int, korrin::ConfigParam> retrieve_config(const std::string& id) override;
  std::string retrieve_config(const std::string& id, int usage_id) override;
  ~ConfigManagerImpl() override;

  /// Stores `config` under `id`, replacing (without deleting) any earlier one.
  void add_config_object(const std::string& id, ConfigInterface* config);
  /// Creates and registers the configuration object of an accessory.
  ConfigInterface* create_accessory(const std::string& id,
                                    const korrin::AccessoryInfoInterface* info);
  /// The registered object, or null. Used after the registry lock is released.
  ConfigInterface* get_config_object(const std::string& id);
  /// As get_config_object(), logging the find.
  ConfigInterface* get_accessory(const std::string& id);
  int get_number_of_configs();
  /// Stores one setting the host obtained itself.
  bool update_config_from_host(const std::string& id, const std::string& key, int usage_id,
                               const std::string& value);
  bool is_configure_accessory_pending();
  void set_configure_accessory_pending(bool pending);
  /// Adds an object to the set waiting for the document.
  void mark_config_object_pending(ConfigInterface* config);
  int get_number_of_pending_configs();
  /// The pending object at `position` in pointer order, or null.
  ConfigInterface* get_pending_config_object(int position);

  /// Issues the GET of the configuration document through the host.
  int fetch_config(const std::string& url, std::string& response);
  /// The body of a queued configure task (dispatcher's thread).
  void configure_accessory_task(korrin::TaskParametersInterface* params);
  /// Ends the request: clears the flag, the pending set and their retry counters.
  void clean_up_pending_config_requests();

 protected:
  ConfigManagerImpl();

 private:
  void queue_configure_task(ConfigInterface* config);

  log::Logger* logger_ = nullptr;
  std::map<std::string, ConfigInterface*> config_objects_;
  std::set<ConfigInterface*> pending_configs_;
  MutexInterface* config_lock_ = nullptr;
  bool configure_pending_ = false;
  MutexInterface* pending_lock_ = nullptr;

  static ConfigManagerImpl* instance_;
};

/// Parameters of a configure task (type 0).
class KORRIN_API ConfigAccessoryParams : public korrin::TaskParametersInterface {
 public:
  /// Takes ownership of `config`.
  ConfigAccessoryParams(ConfigInterface* config, int defer_time, int timeout);
  ConfigAccessoryParams(const ConfigAccessoryParams&) = delete;
  ConfigAccessoryParams& operator=(const ConfigAccessoryParams&) = delete;
  ~ConfigAccessoryParams() override;

  /// A new object with a clone of the configuration object; caller owns it.
  korrin::TaskParametersInterface* clone() const override;
  int get_type() const override;
  /// 1 when the accessory is ready, 2 (defer 6 s) when not, 3 when unusable.
  int check_status() override;
  int get_timeout() const override;
  int get_defer_time() const override;

  ConfigInterface* config_;  ///< owned clone of the configuration object
  int defer_time_;           ///< seconds before the next check or run
  int timeout_;              ///< seconds the task may run (60)
};

}  // namespace config
}  // namespace korrin

/// A random wait from `minimum` to `minimum + spread` seconds.
KORRIN_API unsigned get_seconds_to_wait(unsigned minimum, unsigned spread);
/// Sleeps the calling thread for `seconds`.
KORRIN_API void sleep_for(unsigned seconds);

#endif  // KORRIN_COMPAT_CONFIG_MANAGER_IMPL_H

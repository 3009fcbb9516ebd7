/// \file
/// Per-accessory configuration objects: the settings map, the
/// configuration-required decision, document parsing, the firmware decision,
/// applying settings to the device and the configuration URL.
#ifndef KORRIN_CONFIG_H
#define KORRIN_CONFIG_H

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

struct cJSON;

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
  /// A counter of 0.
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

/// The configuration object shared by headsets and cameras.
class KORRIN_API ConfigImpl : public ConfigInterface {
 public:
  /// `accessory` must not be null; the object keeps its own clone.
  ConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory,
             std::string const& logger_name);
  /// Deep copy with its own locks, logger and accessory clone; the copy's
  /// logger is created with an empty name.
  ConfigImpl(ConfigImpl const& other);
  ConfigImpl& operator=(ConfigImpl const&) = delete;
  ~ConfigImpl() override;

  bool update_from_server(std::string const& document) override;
  bool update_from_host(std::string const& key, int usage_id, std::string const& value) override;
  std::string get_config_url() const override;
  void apply_config_to_device(ApplyType type) const override;
  std::map<int, ConfigParam> retrieve_config() override;
  int get_type() const override;
  AccessoryInfoInterface const* get_accessory() const override;
  std::string get_accessory_id() const override;
  bool is_config_required(std::string const& timestamp) const override;
  bool reset_config() override;
  bool update(AccessoryInfoInterface const* accessory) override;
  /// A plain ConfigImpl copy of this object; the caller owns it.
  ConfigInterface* clone() override;

  /// Forgets the version time of the configuration last taken.
  void reset_timestamps();
  /// True when `config_time` differs from the version time last taken.
  bool is_config_required(double config_time) const;
  /// Stores one setting under the settings lock.
  void set_map_entry(int usage_id, ConfigParam param);
  /// The firmware version the accessory reports.
  std::string get_firmware_version();
  /// Asks the host to install a firmware; returns the host's answer.
  bool request_upgrade(std::string const& firmware_version, std::string const& firmware_name);

  /// Merges one settings array; returns the number of entries stored.
  int save_config_to_map(cJSON* settings);
  /// Stores the "commonSettings" array of a configuration section.
  bool save_common_settings_params(cJSON* section);
  /// The "modelFirmware" array of the first model group naming `model_name`,
  /// or null. Points into `section`'s tree (not owned).
  cJSON* extract_model_firmware_settings(cJSON* section, std::string const& model_name);
  /// Stores a settings array and configures the device if anything was stored.
  bool apply_settings(cJSON* settings);
  /// Applies the "firmwareParams" of the first element of a "modelFirmware" array.
  bool save_model_specific_settings_params(cJSON* model_firmware);

  /// The pieces of a firmware version split at every "-".
  std::vector<std::string> parse_firmware_version(std::string version);
  /// 0 no upgrade, 1 upgrade, 2 downgrade refused, 3 a version is empty.
  int check_firmware_upgrade(std::string const& candidate, std::string const& reported);
  /// The firmware step of a document update; true when a firmware was named.
  bool upgrade_firmware(cJSON* model_firmware, std::string const& current_version);
  /// Decides about one configured firmware and requests it when due.
  void upgrade_firmware(std::string const& firmware_version, std::string const& firmware_name,
                        std::string const& current_version);

  /// Takes over the template configuration of a document.
  bool parse_remote_default_config(cJSON* template_config);

 protected:
  /// Downgrade policy consulted by check_firmware_upgrade(); a seam for
  /// accessories without downgrade support.
  virtual bool supports_downgrade() const;

  int type_ = 0;                             ///< 1 = headset, 2 = camera
  std::map<int, ConfigParam> settings_;      ///< the settings, keyed by usage id
  MutexInterface* settings_lock_ = nullptr;  ///< guards settings_
  log::Logger* logger_ = nullptr;            ///< the object's own logger
  std::string model_name_;                   ///< accessory model the settings belong to
  double last_updated_time_ = 0.0;           ///< version time of the last configuration; 0 = none
  std::string accessory_id_;                 ///< the id the host registered the accessory under
  AccessoryInfoInterface const* accessory_ = nullptr;  ///< own clone of the description
  std::string requested_firmware_;                     ///< firmware name last requested
  MutexInterface* firmware_lock_ = nullptr;            ///< guards requested_firmware_
  std::string logger_name_;                            ///< name given to the logger
};

/// Configuration object of a headset (type 1).
class KORRIN_API HeadsetConfigImpl : public ConfigImpl {
 public:
  /// A headset's object; `accessory` must not be null (a clone is kept).
  HeadsetConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory);
  ~HeadsetConfigImpl() override;
};

/// Configuration object of a camera (type 2).
class KORRIN_API CameraConfigImpl : public ConfigImpl {
 public:
  /// A camera's object; `accessory` must not be null (a clone is kept).
  CameraConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory);
  ~CameraConfigImpl() override;
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

#endif  // KORRIN_CONFIG_H

/// \file
/// The configuration object classes behind ConfigInterface: the settings map,
/// document parsing, the firmware decision, applying settings and the
/// configuration URL.
#ifndef KORRIN_COMPAT_CONFIG_IMPL_H
#define KORRIN_COMPAT_CONFIG_IMPL_H

#include <map>
#include <string>
#include <vector>

#include "korrin/config.h"
#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

struct cJSON;

namespace korrin {
namespace config {

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

#endif  // KORRIN_COMPAT_CONFIG_IMPL_H

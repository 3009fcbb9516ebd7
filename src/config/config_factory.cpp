// The factory that picks the configuration object class for an accessory.
#include "base/kinds.h"
#include "korrin/compat/config_impl.h"

korrin::config::ConfigInterface* create_config(const std::string& id,
                                               const korrin::AccessoryInfoInterface* info) {
  korrin::log::Logger* logger = create_logger(korrin::globals::plugins.log, "ConfigFactory", true);
  korrin::config::ConfigInterface* config = nullptr;
  try {
    switch (info->get_accessory_type()) {
      case korrin::detail::kHeadsetAccessory:
        config = new korrin::config::HeadsetConfigImpl(id, info);
        break;
      case korrin::detail::kCameraAccessory:
        config = new korrin::config::CameraConfigImpl(id, info);
        break;
      // Kept as written, leading "::" included: hosts match on this record.
      default: logger->info() << "::create_config: Unknown accessory type"; break;
    }
  } catch (...) {
    delete_logger(logger);
    throw;
  }
  delete_logger(logger);
  return config;
}

void delete_config(korrin::config::ConfigInterface* config) { delete config; }

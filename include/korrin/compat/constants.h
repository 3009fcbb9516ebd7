/// \file
/// Every JSON key, fixed value, model name and log tag of the library, defined
/// once (see src/base/constants.cpp) so that all components share one word list.
#ifndef KORRIN_COMPAT_CONSTANTS_H
#define KORRIN_COMPAT_CONSTANTS_H

#include <string>

#include "korrin/compat/error_tags.h"
#include "korrin/export.h"

/// Name of the default headset configuration document.
extern KORRIN_API const std::string DEFAULT_HEADSET_CONFIG_FILE;
///@{
/// URL scheme prefixes and the server placeholder of a configuration URL.
extern KORRIN_API const std::string HTTP_SCHEME;
extern KORRIN_API const std::string HTTPS_SCHEME;
extern KORRIN_API const std::string TFTP_SCHEME;
extern KORRIN_API const std::string TFTP_TOKEN;
///@}
/// Vendor name of the maker's own accessories.
extern KORRIN_API const std::string ZELOR_VENDOR;
/// Placeholder for an unknown field.
extern KORRIN_API const std::string UNKNOWN_VALUE;
///@{
/// Keys of the configuration and inventory documents.
extern KORRIN_API const std::string KEY_TIME;
extern KORRIN_API const std::string KEY_UPDATED_TIME;
extern KORRIN_API const std::string KEY_SETTINGS;
extern KORRIN_API const std::string KEY_NAME;
extern KORRIN_API const std::string KEY_USAGE_ID;
extern KORRIN_API const std::string KEY_KEY;
extern KORRIN_API const std::string KEY_VALUE;
extern KORRIN_API const std::string KEY_ACCESS;
///@}
///@{
/// Access classes of a setting.
extern KORRIN_API const std::string ACCESS_USER;
extern KORRIN_API const std::string ACCESS_ADMIN;
extern KORRIN_API const std::string ACCESS_BOTH;
///@}
///@{
/// Firmware members and their special values.
extern KORRIN_API const std::string KEY_FIRMWARE_NAME;
extern KORRIN_API const std::string FIRMWARE_LATEST;
extern KORRIN_API const std::string FIRMWARE_CURRENT;
extern KORRIN_API const std::string KEY_FIRMWARE_PARAMS;
extern KORRIN_API const std::string KEY_FIRMWARE_VERSION;
///@}
///@{
/// Sections of the configuration document.
extern KORRIN_API const std::string KEY_COMMON_SETTINGS;
extern KORRIN_API const std::string KEY_MODEL_SPECIFIC_SETTINGS;
extern KORRIN_API const std::string KEY_MODELS;
extern KORRIN_API const std::string KEY_MODEL_FIRMWARE;
extern KORRIN_API const std::string KEY_LATEST;
extern KORRIN_API const std::string KEY_TEMPLATE_CONFIGURATION;
extern KORRIN_API const std::string KEY_USER_CONFIGURATION;
///@}
///@{
/// Keys of the inventory document.
extern KORRIN_API const std::string KEY_USER_ID;
extern KORRIN_API const std::string KEY_HEADSET_INVENTORY;
extern KORRIN_API const std::string KEY_CAMERA_INVENTORY;
extern KORRIN_API const std::string KEY_HOST;
extern KORRIN_API const std::string KEY_DOCK;
extern KORRIN_API const std::string KEY_ACCESSORY;
extern KORRIN_API const std::string KEY_HEADSET;
extern KORRIN_API const std::string KEY_CAMERA;
extern KORRIN_API const std::string KEY_CLIENT;
extern KORRIN_API const std::string KEY_SERIAL_NUMBER;
extern KORRIN_API const std::string KEY_DEVICE_NAME;
extern KORRIN_API const std::string KEY_VENDOR;
extern KORRIN_API const std::string KEY_MODEL;
extern KORRIN_API const std::string KEY_HOST_OS_VERSION;
extern KORRIN_API const std::string KEY_CONNECTION_TYPE;
extern KORRIN_API const std::string KEY_CONNECTION_STATUS;
///@}
///@{
/// Model names told apart by the serial number (see get_headset_model).
extern KORRIN_API const std::string MODEL_H9;
extern KORRIN_API const std::string MODEL_H8;
///@}
/// Connection status word.
extern KORRIN_API const std::string STATUS_CONNECTED;
/// Same value as DEFAULT_HEADSET_CONFIG_FILE, kept as a name of its own.
extern KORRIN_API const std::string DEFAULT_CONFIG_FILE;

#endif  // KORRIN_COMPAT_CONSTANTS_H

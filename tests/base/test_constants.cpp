// Every shared constant has its contract value.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "korrin/constants.h"

namespace {

struct Named {
  const char* name;
  const std::string& value;
  const char* expected;
};

TEST(ConstantsTest, EveryConstantHasItsValue) {
  const std::vector<Named> table = {
      {"DEFAULT_HEADSET_CONFIG_FILE", DEFAULT_HEADSET_CONFIG_FILE, "defaultheadsetconfig.json"},
      {"HTTP_SCHEME", HTTP_SCHEME, "http://"},
      {"HTTPS_SCHEME", HTTPS_SCHEME, "https://"},
      {"TFTP_SCHEME", TFTP_SCHEME, "tftp://"},
      {"TFTP_TOKEN", TFTP_TOKEN, "{tftp}"},
      {"ZELOR_VENDOR", ZELOR_VENDOR, "Zelor"},
      {"UNKNOWN_VALUE", UNKNOWN_VALUE, "Unknown"},
      {"KEY_TIME", KEY_TIME, "time"},
      {"KEY_UPDATED_TIME", KEY_UPDATED_TIME, "updatedTime"},
      {"KEY_SETTINGS", KEY_SETTINGS, "settings"},
      {"KEY_NAME", KEY_NAME, "name"},
      {"KEY_USAGE_ID", KEY_USAGE_ID, "usageId"},
      {"KEY_KEY", KEY_KEY, "key"},
      {"KEY_VALUE", KEY_VALUE, "value"},
      {"KEY_ACCESS", KEY_ACCESS, "access"},
      {"ACCESS_USER", ACCESS_USER, "User"},
      {"ACCESS_ADMIN", ACCESS_ADMIN, "Admin"},
      {"ACCESS_BOTH", ACCESS_BOTH, "Both"},
      {"KEY_FIRMWARE_NAME", KEY_FIRMWARE_NAME, "firmwareName"},
      {"FIRMWARE_LATEST", FIRMWARE_LATEST, "LATEST"},
      {"FIRMWARE_CURRENT", FIRMWARE_CURRENT, "Current"},
      {"KEY_FIRMWARE_PARAMS", KEY_FIRMWARE_PARAMS, "firmwareParams"},
      {"KEY_FIRMWARE_VERSION", KEY_FIRMWARE_VERSION, "firmwareVersion"},
      {"KEY_COMMON_SETTINGS", KEY_COMMON_SETTINGS, "commonSettings"},
      {"KEY_MODEL_SPECIFIC_SETTINGS", KEY_MODEL_SPECIFIC_SETTINGS, "modelSpecificSettings"},
      {"KEY_MODELS", KEY_MODELS, "models"},
      {"KEY_MODEL_FIRMWARE", KEY_MODEL_FIRMWARE, "modelFirmware"},
      {"KEY_LATEST", KEY_LATEST, "latest"},
      {"KEY_TEMPLATE_CONFIGURATION", KEY_TEMPLATE_CONFIGURATION, "templateConfiguration"},
      {"KEY_USER_CONFIGURATION", KEY_USER_CONFIGURATION, "userConfiguration"},
      {"KEY_USER_ID", KEY_USER_ID, "userId"},
      {"KEY_HEADSET_INVENTORY", KEY_HEADSET_INVENTORY, "headsetInventory"},
      {"KEY_CAMERA_INVENTORY", KEY_CAMERA_INVENTORY, "cameraInventory"},
      {"KEY_HOST", KEY_HOST, "host"},
      {"KEY_DOCK", KEY_DOCK, "dock"},
      {"KEY_ACCESSORY", KEY_ACCESSORY, "accessory"},
      {"KEY_HEADSET", KEY_HEADSET, "headset"},
      {"KEY_CAMERA", KEY_CAMERA, "camera"},
      {"KEY_CLIENT", KEY_CLIENT, "client"},
      {"KEY_SERIAL_NUMBER", KEY_SERIAL_NUMBER, "serialNumber"},
      {"KEY_DEVICE_NAME", KEY_DEVICE_NAME, "deviceName"},
      {"KEY_VENDOR", KEY_VENDOR, "vendor"},
      {"KEY_MODEL", KEY_MODEL, "model"},
      {"KEY_HOST_OS_VERSION", KEY_HOST_OS_VERSION, "hostOSVersion"},
      {"KEY_CONNECTION_TYPE", KEY_CONNECTION_TYPE, "connectionType"},
      {"KEY_CONNECTION_STATUS", KEY_CONNECTION_STATUS, "connectionStatus"},
      {"MODEL_H9", MODEL_H9, "Zelor H-9"},
      {"MODEL_H8", MODEL_H8, "Zelor H-8"},
      {"STATUS_CONNECTED", STATUS_CONNECTED, "connected"},
      {"ERR_LIB", ERR_LIB, "[LIB-ERR]"},
      {"ERR_QELM", ERR_QELM, "[QELM-ERR]"},
      {"ERR_PARSING", ERR_PARSING, "[PARSING-ERR]"},
      {"ERR_PLUGIN", ERR_PLUGIN, "[PLUGIN-ERR]"},
      {"ERR_NETWORK", ERR_NETWORK, "[NETWORK-ERR]"},
      {"ERR_SYSTEM", ERR_SYSTEM, "[SYSTEM-ERR]"},
      {"DEFAULT_CONFIG_FILE", DEFAULT_CONFIG_FILE, "defaultheadsetconfig.json"},
  };
  EXPECT_EQ(table.size(), 56u);
  for (const auto& entry : table) {
    EXPECT_EQ(entry.value, entry.expected) << entry.name;
  }
}

TEST(ConstantsTest, TheTwoDefaultFileNamesAreDistinctObjects) {
  EXPECT_EQ(DEFAULT_CONFIG_FILE, DEFAULT_HEADSET_CONFIG_FILE);
  EXPECT_NE(&DEFAULT_CONFIG_FILE, &DEFAULT_HEADSET_CONFIG_FILE);
}

}  // namespace

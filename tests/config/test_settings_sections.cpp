// The settings sections of a configuration section: common settings, the
// choice of the model group, and applying the model-specific settings.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/json_tree.h"
#include "support/probe_config_test.h"

namespace {

using korrin_test::headset_records;
using korrin_test::JsonTree;
using korrin_test::ProbeConfig;

// A configuration object whose URL query fails with a chosen exception.
class ThrowingUrlConfig : public ProbeConfig {
 public:
  using ProbeConfig::ProbeConfig;
  std::string get_config_url() const override {
    if (throw_logic_error) {
      throw std::logic_error("not a runtime error");
    }
    throw std::runtime_error("url unavailable");
  }
  bool throw_logic_error = false;
};

// A "Both" entry without "_" makes save_config_to_map() ask for the URL.
const char kAsksForUrl[] =
    R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
        {"name": "tone", "usageId": 6, "value": 1, "access": "Both"}])";

class SettingsSectionsTest : public korrin_test::ProbeConfigTest {};

// ---- save_common_settings_params -------------------------------------------

TEST_F(SettingsSectionsTest, CommonSettingsOfANullSectionAreNotFound) {
  EXPECT_FALSE(config->save_common_settings_params(nullptr));
  EXPECT_EQ(host.log.texts(),
            headset_records({"save_common_settings_params: No default common settings found."}));
}

TEST_F(SettingsSectionsTest, MissingEmptyOrScalarCommonSettingsAreNotFound) {
  for (const char* section : {R"({})", R"({"commonSettings": []})", R"({"commonSettings": null})",
                              R"({"commonSettings": "volume"})", R"({"commonSettings": 5})",
                              R"({"commonSettings": {}})", R"([])", R"("text")"}) {
    SCOPED_TRACE(section);
    forget_calls();
    JsonTree tree = json(section);
    EXPECT_FALSE(config->save_common_settings_params(tree.get()));
    EXPECT_EQ(
        host.log.texts(),
        headset_records({"save_common_settings_params: Common settings not found in config"}));
  }
}

TEST_F(SettingsSectionsTest, CommonSettingsAreStoredWithoutConfiguringTheDevice) {
  JsonTree tree = json(R"({"commonSettings": [
      {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}]})");
  EXPECT_TRUE(config->save_common_settings_params(tree.get()));
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value="}));
  EXPECT_EQ(host.log.texts(), headset_records({
                                  "save_config_to_map: 5, key: volume, value: 7, access: Admin",
                                  "save_config_to_map: Saved 1 settings. current map size: 1",
                                  "save_common_settings_params: success",
                              }));
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(SettingsSectionsTest, CommonSettingsSucceedEvenWhenNoEntryIsValid) {
  JsonTree tree = json(R"({"commonSettings": [{"name": "volume"}]})");
  EXPECT_TRUE(config->save_common_settings_params(tree.get()));
  EXPECT_EQ(host.log.texts(), headset_records({
                                  "save_config_to_map[QELM-ERR]: Null Usage ID for param volume",
                                  "save_config_to_map: Saved 0 settings. current map size: 0",
                                  "save_common_settings_params: success",
                              }));
}

TEST_F(SettingsSectionsTest, CommonSettingsKeyIsLookedUpIgnoringCase) {
  JsonTree tree = json(R"({"COMMONSETTINGS": [
      {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}]})");
  EXPECT_TRUE(config->save_common_settings_params(tree.get()));
  EXPECT_EQ(config->retrieve_config().size(), 1u);
}

TEST_F(SettingsSectionsTest, RuntimeErrorWhileStoringCommonSettingsIsLoggedWithoutSeparator) {
  auto throwing = std::make_unique<ThrowingUrlConfig>("acc-1", accessory.get());
  forget_calls();
  JsonTree tree = json(std::string(R"({"commonSettings": )") + kAsksForUrl + "}");
  EXPECT_FALSE(throwing->save_common_settings_params(tree.get()));
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::debug,
                 "HeadsetConfigImpl: save_config_to_map: 5, key: volume, value: 7, access: Admin"},
                {korrin::log::error,
                 "HeadsetConfigImpl: save_common_settings_params[LIB-ERR]url unavailable"},
            }));
  // What was stored before the failure stays.
  EXPECT_EQ(throwing->retrieve_config().size(), 1u);
}

TEST_F(SettingsSectionsTest, OtherExceptionsWhileStoringCommonSettingsPassThrough) {
  auto throwing = std::make_unique<ThrowingUrlConfig>("acc-1", accessory.get());
  throwing->throw_logic_error = true;
  JsonTree tree = json(std::string(R"({"commonSettings": )") + kAsksForUrl + "}");
  EXPECT_THROW(throwing->save_common_settings_params(tree.get()), std::logic_error);
}

// ---- extract_model_firmware_settings ---------------------------------------

TEST_F(SettingsSectionsTest, MissingModelSpecificSettingsAreReported) {
  JsonTree tree = json(R"({"commonSettings": []})");
  EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::debug,
                 "HeadsetConfigImpl: extract_model_firmware_settings: MODEL NAME Zelor H-5"},
                {korrin::log::notice,
                 "HeadsetConfigImpl: extract_model_firmware_settings[QELM-ERR]: Model specific "
                 "settings not found in config"},
            }));
}

TEST_F(SettingsSectionsTest, NullSectionHasNoModelSpecificSettings) {
  EXPECT_EQ(config->extract_model_firmware_settings(nullptr, "Zelor H-5"), nullptr);
  EXPECT_EQ(host.log.texts().size(), 2u);
}

TEST_F(SettingsSectionsTest, EmptyOrScalarModelSpecificSettingsYieldNothingQuietly) {
  for (const char* section :
       {R"({"modelSpecificSettings": []})", R"({"modelSpecificSettings": "Zelor H-5"})",
        R"({"modelSpecificSettings": 3})"}) {
    SCOPED_TRACE(section);
    forget_calls();
    JsonTree tree = json(section);
    EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
    EXPECT_EQ(host.log.texts(),
              headset_records({"extract_model_firmware_settings: MODEL NAME Zelor H-5"}));
  }
}

TEST_F(SettingsSectionsTest, FirstGroupNamingTheModelBySubstringWins) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": ["M100"], "modelFirmware": [{"firmwareName": "first"}]},
      {"models": ["M100 Pro"], "modelFirmware": [{"firmwareName": "second"}]}]})");
  cJSON* found = config->extract_model_firmware_settings(tree.get(), "X M100 Pro");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found,
            cJSON_GetObjectItem(
                cJSON_GetArrayItem(cJSON_GetObjectItem(tree.get(), "modelSpecificSettings"), 0),
                "modelFirmware"));
  // The later group is never looked at.
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "extract_model_firmware_settings: MODEL NAME X M100 Pro",
                "extract_model_firmware_settings config_model_name: M100, device_model_name: X "
                "M100 Pro",
            }));
}

TEST_F(SettingsSectionsTest, ModelMatchingIsCaseSensitiveAndTriesEveryElementInOrder) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": ["zelor h-5", "", "H-50"], "modelFirmware": [{"firmwareName": "a"}]},
      {"models": ["Q-1", "H-5"], "modelFirmware": [{"firmwareName": "b"}]}]})");
  cJSON* found = config->extract_model_firmware_settings(tree.get(), "Zelor H-5");
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(cJSON_GetObjectItem(found->child, "firmwareName")->valuestring, "b");
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "extract_model_firmware_settings: MODEL NAME Zelor H-5",
                "extract_model_firmware_settings config_model_name: zelor h-5, device_model_name: "
                "Zelor H-5",
                "extract_model_firmware_settings config_model_name: , device_model_name: Zelor H-5",
                "extract_model_firmware_settings config_model_name: H-50, device_model_name: Zelor "
                "H-5",
                "extract_model_firmware_settings config_model_name: Q-1, device_model_name: Zelor "
                "H-5",
                "extract_model_firmware_settings config_model_name: H-5, device_model_name: Zelor "
                "H-5",
            }));
}

TEST_F(SettingsSectionsTest, EmptyModelStringNeverMatches) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": [""], "modelFirmware": [{"firmwareName": "a"}]}]})");
  EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
  EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), ""), nullptr);
}

TEST_F(SettingsSectionsTest, NonStringModelElementsAreSkippedWithoutARecord) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": [5, null, ["H-5"], {"m": "H-5"}, true, "H-5"],
       "modelFirmware": [{"firmwareName": "a"}]}]})");
  EXPECT_NE(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "extract_model_firmware_settings: MODEL NAME Zelor H-5",
                "extract_model_firmware_settings config_model_name: H-5, device_model_name: Zelor "
                "H-5",
            }));
}

TEST_F(SettingsSectionsTest, GroupsWithoutAModelsListOrWithAScalarOneAreSkipped) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"modelFirmware": [{"firmwareName": "a"}]},
      {"models": "Zelor H-5", "modelFirmware": [{"firmwareName": "b"}]},
      "Zelor H-5",
      7,
      {"models": ["H-5"], "modelFirmware": [{"firmwareName": "c"}]}]})");
  cJSON* found = config->extract_model_firmware_settings(tree.get(), "Zelor H-5");
  ASSERT_NE(found, nullptr);
  EXPECT_STREQ(cJSON_GetObjectItem(found->child, "firmwareName")->valuestring, "c");
}

TEST_F(SettingsSectionsTest, MatchingGroupWithoutModelFirmwareEndsTheSearchWithNothing) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": ["H-5"]},
      {"models": ["Zelor H-5"], "modelFirmware": [{"firmwareName": "b"}]}]})");
  EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
  EXPECT_EQ(host.log.texts().size(), 2u);
}

TEST_F(SettingsSectionsTest, NoGroupNamesTheModel) {
  JsonTree tree = json(R"({"modelSpecificSettings": [
      {"models": ["Zelor C-20"], "modelFirmware": [{"firmwareName": "b"}]}]})");
  EXPECT_EQ(config->extract_model_firmware_settings(tree.get(), "Zelor H-5"), nullptr);
}

// ---- apply_settings ----------------------------------------------------------

TEST_F(SettingsSectionsTest, ApplyingNullSettingsWarns) {
  EXPECT_FALSE(config->apply_settings(nullptr));
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::warning,
                 "HeadsetConfigImpl: apply_settings: No settings available for firmware"},
            }));
}

TEST_F(SettingsSectionsTest, ApplyingAnEmptyArrayFailsWithoutConfiguringTheDevice) {
  JsonTree tree = json("[]");
  EXPECT_FALSE(config->apply_settings(tree.get()));
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::debug,
                 "HeadsetConfigImpl: save_config_to_map: Saved 0 settings. current map size: 0"},
                {korrin::log::notice,
                 "HeadsetConfigImpl: apply_settings: Failed to apply current firmware version "
                 "settings."},
            }));
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(SettingsSectionsTest, ApplyingStoredSettingsConfiguresTheDeviceOnce) {
  // An entry with an empty access is walked but never sent.
  config->update_from_host("mute", 2, "1");
  JsonTree tree = json(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
                       {"name": "tone_Admin", "usageId": 3, "value": 255, "access": "Both"}])");
  forget_calls();
  EXPECT_TRUE(config->apply_settings(tree.get()));
  EXPECT_EQ(host.calls.starting_with("device."), (std::vector<std::string>{
                                                     "device.set_follow_user_config(3, true)",
                                                     "device.apply_setting(acc-1, volume, 5, 7)",
                                                 }));
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "save_config_to_map: 5, key: volume, value: 7, access: Admin",
                "save_config_to_map: Saved 2 settings. current map size: 3",
                "apply_config_to_device: Apply type: CONFIGURE",
                "apply_config_to_device: Apply type: CONFIGURE",
                "apply_config_to_device : skip dual setting - tone : (usage id: 3) , which is set "
                "to follow user config",
                "apply_config_to_device: Apply type: CONFIGURE",
                "apply_config_to_device: volume : (usage id: 5 , value: 7)",
            }));
}

TEST_F(SettingsSectionsTest, ApplyingOnlyInPlaceUpdatesDoesNotConfigureTheDevice) {
  JsonTree first = json(R"([{"name": "tone_Admin", "usageId": 3, "value": 4, "access": "Both"}])");
  ASSERT_TRUE(config->apply_settings(first.get()));
  forget_calls();
  JsonTree second = json(R"([{"name": "tone_User", "usageId": 3, "value": 9, "access": "Both"}])");
  EXPECT_FALSE(config->apply_settings(second.get()));
  EXPECT_EQ(host.calls.count("device."), 0u);
  EXPECT_EQ(config->retrieve_config().at(3).user_value, "9");
}

TEST_F(SettingsSectionsTest, RuntimeErrorWhileApplyingIsLoggedAndFails) {
  auto throwing = std::make_unique<ThrowingUrlConfig>("acc-1", accessory.get());
  forget_calls();
  JsonTree tree = json(kAsksForUrl);
  EXPECT_FALSE(throwing->apply_settings(tree.get()));
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "save_config_to_map: 5, key: volume, value: 7, access: Admin",
                "apply_settings[LIB-ERR]: url unavailable",
                "apply_settings: Failed to apply current firmware version settings.",
            }));
  // The entry stored before the failure is not sent.
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(SettingsSectionsTest, OtherExceptionsWhileApplyingPassThrough) {
  auto throwing = std::make_unique<ThrowingUrlConfig>("acc-1", accessory.get());
  throwing->throw_logic_error = true;
  JsonTree tree = json(kAsksForUrl);
  EXPECT_THROW(throwing->apply_settings(tree.get()), std::logic_error);
}

TEST_F(SettingsSectionsTest, DeviceFailureWhileConfiguringIsNotCaughtByApplySettings) {
  JsonTree tree = json(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}])");
  host.calls.arm_fault("device.apply_setting");
  EXPECT_THROW(config->apply_settings(tree.get()), korrin_test::InjectedFault);
  EXPECT_TRUE(host.log.texts_containing("apply_settings").empty());
  EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
}

// ---- save_model_specific_settings_params -------------------------------------

TEST_F(SettingsSectionsTest, MissingModelFirmwareIsReported) {
  EXPECT_FALSE(config->save_model_specific_settings_params(nullptr));
  EXPECT_EQ(host.log.texts(),
            headset_records({"save_model_specific_settings_params : Model_firmware_settings do "
                             "not exist"}));
}

TEST_F(SettingsSectionsTest, FirstFirmwareObjectsParamsAreApplied) {
  JsonTree tree = json(R"([
      {"firmwareName": "a", "firmwareParams": [
          {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}]},
      {"firmwareName": "b", "firmwareParams": [
          {"name": "volume", "usageId": 5, "value": 1, "access": "Admin"},
          {"name": "mute", "usageId": 6, "value": 1, "access": "Admin"}]},
      {"firmwareName": "c"}])");
  EXPECT_TRUE(config->save_model_specific_settings_params(tree.get()));
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value="}));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.apply_setting(acc-1, volume, 5, 7)"}));
  EXPECT_EQ(host.log.texts().back(),
            "HeadsetConfigImpl: save_model_specific_settings_params: Success.");
}

TEST_F(SettingsSectionsTest, EmptyModelFirmwareBehavesLikeMissingParams) {
  for (const char* model_firmware : {"[]", R"([{"firmwareName": "a"}])", R"([5])", R"("a")"}) {
    SCOPED_TRACE(model_firmware);
    forget_calls();
    JsonTree tree = json(model_firmware);
    EXPECT_TRUE(config->save_model_specific_settings_params(tree.get()));
    EXPECT_EQ(host.log.texts(), headset_records({
                                    "apply_settings: No settings available for firmware",
                                    "save_model_specific_settings_params: Success.",
                                }));
  }
}

TEST_F(SettingsSectionsTest, ModelSpecificSettingsSucceedEvenWhenNothingIsApplied) {
  // JSON null and a scalar are present members: walked as empty arrays.
  for (const char* model_firmware : {R"([{"firmwareParams": []}])", R"([{"firmwareParams": null}])",
                                     R"([{"firmwareParams": "volume"}])"}) {
    SCOPED_TRACE(model_firmware);
    forget_calls();
    JsonTree tree = json(model_firmware);
    EXPECT_TRUE(config->save_model_specific_settings_params(tree.get()));
    EXPECT_EQ(host.log.texts(),
              headset_records({
                  "save_config_to_map: Saved 0 settings. current map size: 0",
                  "apply_settings: Failed to apply current firmware version settings.",
                  "save_model_specific_settings_params: Success.",
              }));
  }
}

TEST_F(SettingsSectionsTest, ModelSpecificEntryOverridesACommonOne) {
  JsonTree section = json(R"({
      "commonSettings": [
          {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
          {"name": "tone_Admin", "usageId": 6, "value": 2, "access": "Both"},
          {"name": "tone_User", "usageId": 6, "value": 3, "access": "Both"}],
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{"firmwareParams": [
          {"name": "loudness", "usageId": 5, "value": 9, "access": "User"},
          {"name": "ring_Admin", "usageId": 6, "value": 255, "access": "Both"}]}]}]})");
  ASSERT_TRUE(config->save_common_settings_params(section.get()));
  cJSON* model_firmware = config->extract_model_firmware_settings(section.get(), "Zelor H-5");
  ASSERT_TRUE(config->save_model_specific_settings_params(model_firmware));
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "5 usage_id=5 key=loudness value=9 access=User user_value=",
                            "6 usage_id=6 key=tone value=255 access=Both user_value=3",
                        }));
}

}  // namespace

// Taking over a configuration document: the template search, parse errors,
// model changes, the version time, the dongle switch, whole documents for a
// headset, a headset with a dongle and a camera, and update_from_host.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/fake_host.h"
#include "support/json_block_counter.h"
#include "support/probe_config_test.h"

namespace {

using korrin_test::AccessoryData;
using korrin_test::headset_records;
using korrin_test::ProbeConfig;

// A small headset document: one common setting, one model group.
const char kSmallDocument[] = R"({"templateConfiguration": {
    "updatedTime": 1700000000,
    "commonSettings": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}],
    "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
        "firmwareName": "H5 release", "firmwareVersion": "2-0-0",
        "firmwareParams": [{"name": "tone_Admin", "usageId": 6, "value": 255, "access": "Both"}]
    }]}]}})";

// The same layout with the template wrapped as given; `tail` follows the
// template inside its holder.
std::string small_template() {
  const std::string document = kSmallDocument;
  const std::string head = R"({"templateConfiguration": )";
  return document.substr(head.size(), document.size() - head.size() - 1);
}

class DocumentTest : public korrin_test::ProbeConfigTest {};

// ---- parse errors and empty input ----------------------------------------------

TEST_F(DocumentTest, EmptyDocumentHasNothingToParse) {
  EXPECT_FALSE(config->update_from_server(""));
  EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: Nothing to parse"}));
  EXPECT_EQ(host.calls.count("accessory."), 0u);
}

TEST_F(DocumentTest, EmptyDocumentNeverQuotesAnEarlierFailedDocument) {
  // cJSON keeps the position of its last failure, which points into a text
  // that is gone by now: it is not read.
  EXPECT_FALSE(config->update_from_server(std::string(R"({"a" 1})")));
  forget_calls();
  EXPECT_FALSE(config->update_from_server(""));
  EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: Nothing to parse"}));
}

TEST_F(DocumentTest, UnparsableDocumentQuotesTheTextFromTheErrorPosition) {
  EXPECT_FALSE(config->update_from_server(R"({"a" 1, "b": 2})"));
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::info, R"(HeadsetConfigImpl: update_from_server: 1, "b": 2})"}}));
}

TEST_F(DocumentTest, TruncatedDocumentFailsAtItsEnd) {
  const std::string document = kSmallDocument;
  for (std::size_t length :
       {std::size_t{1}, std::size_t{30}, document.size() / 2, document.size() - 1}) {
    SCOPED_TRACE(length);
    forget_calls();
    EXPECT_FALSE(config->update_from_server(document.substr(0, length)));
    // cJSON stops at the end of the text, so nothing remains to quote.
    EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: "}));
  }
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(DocumentTest, TextAfterACompleteDocumentIsIgnoredByTheParser) {
  EXPECT_TRUE(config->update_from_server(std::string(kSmallDocument) + " trailing words"));
}

// ---- the template search ---------------------------------------------------------

TEST_F(DocumentTest, EmptyObjectHasNoTemplate) {
  EXPECT_FALSE(config->update_from_server("{}"));
  EXPECT_EQ(host.log.records(),
            (std::vector<korrin_test::LogRecord>{
                {korrin::log::info, "HeadsetConfigImpl: update_from_server Enter:"},
                {korrin::log::info,
                 "HeadsetConfigImpl: update_from_server: No template config "
                 "found."},
                {korrin::log::debug, "HeadsetConfigImpl: update_from_server: No config found."},
            }));
  EXPECT_EQ(host.calls.count("accessory."), 0u);
}

TEST_F(DocumentTest, DocumentsWithoutAReachableTemplate) {
  const std::string tmpl = small_template();
  for (const std::string& document : {
           std::string("[]"),
           std::string("[{}]"),
           std::string("[[]]"),
           std::string("5"),
           std::string("\"templateConfiguration\""),
           std::string("null"),
           // Only first children are followed.
           R"({"a": 1, "b": {"templateConfiguration": )" + tmpl + "}}",
           R"([{}, {"templateConfiguration": )" + tmpl + "}]",
           R"({"wrapper": {"userId": "u", "inner": {"templateConfiguration": )" + tmpl + "}}}",
           R"({"template": )" + tmpl + "}",
       }) {
    SCOPED_TRACE(document);
    forget_calls();
    EXPECT_FALSE(config->update_from_server(document));
    EXPECT_EQ(host.log.texts(), headset_records({"update_from_server Enter:",
                                                 "update_from_server: No template config found.",
                                                 "update_from_server: No config found."}));
  }
  EXPECT_TRUE(config->retrieve_config().empty());
}

TEST_F(DocumentTest, TemplateIsFoundThroughFirstChildren) {
  const std::string tmpl = small_template();
  for (const std::string& document : {
           std::string(kSmallDocument),
           R"([{"templateConfiguration": )" + tmpl + R"(, "userId": "u"}, 5])",
           R"([[[{"templateConfiguration": )" + tmpl + "}]]]",
           R"({"data": {"templateConfiguration": )" + tmpl + R"(}, "userId": "u"})",
           R"({"data": [{"templateConfiguration": )" + tmpl + "}]}",
           R"({"TEMPLATECONFIGURATION": )" + tmpl + "}",
       }) {
    SCOPED_TRACE(document);
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    forget_calls();
    EXPECT_TRUE(config->update_from_server(document));
    EXPECT_EQ(settings(), (std::vector<std::string>{
                              "5 usage_id=5 key=volume value=7 access=Admin user_value=",
                              "6 usage_id=6 key=tone value=255 access=Both user_value=",
                          }));
    EXPECT_EQ(host.log.texts().back(), "HeadsetConfigImpl: update_from_server: success");
  }
}

TEST_F(DocumentTest, TemplateAfterAnotherMemberHandsOnTheFirstMemberAndFails) {
  config->set_last_updated_time(5.0);
  EXPECT_FALSE(config->update_from_server(R"({"userId": "user-7", "templateConfiguration": )" +
                                          small_template() + "}"));
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(config->last_updated_time(), 5.0);
  EXPECT_EQ(config->model_name(), "Zelor H-5");
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (std::vector<std::string>{
                "log.info(HeadsetConfigImpl: update_from_server Enter:)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config Enter:)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config parsed updated_time:)",
                "accessory.get_model()",
                "log.info(HeadsetConfigImpl: parse_remote_default_config: Current accessory "
                "plugged in: Zelor H-5)",
                "log.notice(HeadsetConfigImpl: parse_remote_default_config: No timestamp found on "
                "the config. Proceed with updating config.)",
                "log.info(HeadsetConfigImpl: save_common_settings_params: Common settings not "
                "found in config)",
                "log.debug(HeadsetConfigImpl: extract_model_firmware_settings: MODEL NAME Zelor "
                "H-5)",
                "log.notice(HeadsetConfigImpl: extract_model_firmware_settings[QELM-ERR]: Model "
                "specific settings not found in config)",
                "log.info(HeadsetConfigImpl: save_model_specific_settings_params : "
                "Model_firmware_settings do not exist)",
                "log.notice(HeadsetConfigImpl: parse_remote_default_config[PARSING-ERR]: No "
                "settings found to save.)",
                "accessory.get_firmware_version()",
                "accessory.get_dongle_model()",
                "log.notice(HeadsetConfigImpl: upgrade_firmware[PARSING-ERR]: "
                "Model_firmware_settings do not exist)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config: Failed)",
                "log.debug(HeadsetConfigImpl: update_from_server: Parsing remote config failed.)",
            }));
}

TEST_F(DocumentTest, TemplateThatIsNotAnObjectIsATemplateWithoutMembers) {
  for (const char* document :
       {R"({"templateConfiguration": "text"})", R"({"templateConfiguration": [1, 2]})",
        R"({"templateConfiguration": null})", R"({"templateConfiguration": 17})"}) {
    SCOPED_TRACE(document);
    forget_calls();
    EXPECT_FALSE(config->update_from_server(document));
    EXPECT_EQ(host.log.texts_containing("No settings found to save.").size(), 1u);
    EXPECT_EQ(host.log.texts_containing("No timestamp found").size(), 1u);
    EXPECT_EQ(host.log.texts().back(),
              "HeadsetConfigImpl: update_from_server: Parsing remote config failed.");
  }
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(DocumentTest, NullTemplateIsReported) {
  EXPECT_FALSE(config->parse_remote_default_config(nullptr));
  EXPECT_EQ(host.log.records(), (std::vector<korrin_test::LogRecord>{
                                    {korrin::log::notice,
                                     "HeadsetConfigImpl: parse_remote_default_config : No default "
                                     "config settings to parse"}}));
}

// ---- the main path, record by record ------------------------------------------------

TEST_F(DocumentTest, HeadsetDocumentRecordsAndCallsInOrder) {
  EXPECT_TRUE(config->update_from_server(kSmallDocument));
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (std::vector<std::string>{
                "log.info(HeadsetConfigImpl: update_from_server Enter:)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config Enter:)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config parsed updated_time:)",
                "accessory.get_model()",
                "log.info(HeadsetConfigImpl: parse_remote_default_config: Current accessory "
                "plugged in: Zelor H-5)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config: Updated time: 1.7e+09)",
                "log.debug(HeadsetConfigImpl: save_config_to_map: 5, key: volume, value: 7, "
                "access: Admin)",
                "log.debug(HeadsetConfigImpl: save_config_to_map: Saved 1 settings. current map "
                "size: 1)",
                "log.notice(HeadsetConfigImpl: save_common_settings_params: success)",
                "log.debug(HeadsetConfigImpl: extract_model_firmware_settings: MODEL NAME Zelor "
                "H-5)",
                "log.debug(HeadsetConfigImpl: extract_model_firmware_settings config_model_name: "
                "H-5, device_model_name: Zelor H-5)",
                "log.debug(HeadsetConfigImpl: save_config_to_map: Saved 1 settings. current map "
                "size: 2)",
                "log.notice(HeadsetConfigImpl: apply_config_to_device: Apply type: CONFIGURE)",
                "log.debug(HeadsetConfigImpl: apply_config_to_device: volume : (usage id: 5 , "
                "value: 7))",
                "device.apply_setting(acc-1, volume, 5, 7)",
                "log.notice(HeadsetConfigImpl: apply_config_to_device: Apply type: CONFIGURE)",
                "device.set_follow_user_config(6, true)",
                "log.debug(HeadsetConfigImpl: apply_config_to_device : skip dual setting - tone : "
                "(usage id: 6) , which is set to follow user config)",
                "log.debug(HeadsetConfigImpl: save_model_specific_settings_params: Success.)",
                "accessory.get_firmware_version()",
                "accessory.get_dongle_model()",
                "log.notice(HeadsetConfigImpl: upgrade_firmware: received 1 entries for model "
                "firmware)",
                "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 2-0-0)",
                "log.notice(HeadsetConfigImpl: check_firmware_upgrade: FW ver candidate from "
                "Configuration: 2-0-0)",
                "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 1-2-3)",
                "log.notice(HeadsetConfigImpl: check_firmware_upgrade: System info reported FW: "
                "1-2-3)",
                "log.notice(HeadsetConfigImpl: upgrade_firmware: Requesting upgrade to 2-0-0)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, H5 release)",
                "log.debug(HeadsetConfigImpl: upgrade_firmware: Done)",
                "log.debug(HeadsetConfigImpl: upgrade_firmware: Success.)",
                "log.info(HeadsetConfigImpl: parse_remote_default_config: Success)",
                "log.info(HeadsetConfigImpl: update_from_server: success)",
            }));
  EXPECT_EQ(config->last_updated_time(), 1700000000.0);
  EXPECT_EQ(config->model_name(), "Zelor H-5");
  EXPECT_EQ(config->requested_firmware(), "2-0-0");
  EXPECT_EQ(host.device.calls_under_lock(), 0);
  EXPECT_EQ(host.mutexes.violations(), 0);
}

TEST_F(DocumentTest, TakenVersionTimeMakesTheSameStampNotRequired) {
  ASSERT_TRUE(config->update_from_server(kSmallDocument));
  EXPECT_FALSE(config->is_config_required("qelm-1700000000"));
  EXPECT_TRUE(config->is_config_required("qelm-1700000001"));
}

TEST_F(DocumentTest, FirmwareStepDecidesTheResultEvenWhenSettingsWereStored) {
  // No group names the accessory: common settings stored, no firmware entry.
  accessory->data().model = "Acme Talk 3";
  EXPECT_FALSE(config->update_from_server(kSmallDocument));
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value="}));
  EXPECT_EQ(config->model_name(), "Acme Talk 3");
  EXPECT_EQ(config->last_updated_time(), 1700000000.0);
  EXPECT_EQ(host.calls.count("device."), 0u);
  const auto texts = host.log.texts();
  EXPECT_EQ(host.log.texts_containing("Model specific settings were not saved"),
            headset_records({"parse_remote_default_config: Model specific settings were not "
                             "saved"}));
  EXPECT_EQ(std::vector<std::string>(texts.end() - 3, texts.end()),
            headset_records({
                "upgrade_firmware[PARSING-ERR]: Model_firmware_settings do not exist",
                "parse_remote_default_config: Failed",
                "update_from_server: Parsing remote config failed.",
            }));
}

TEST_F(DocumentTest, OnlyModelSpecificSettingsSavedIsReported) {
  EXPECT_TRUE(config->update_from_server(R"({"templateConfiguration": {
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
          "firmwareName": "H5", "firmwareVersion": "Current",
          "firmwareParams": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}]}]}]
      }})"));
  EXPECT_EQ(host.log.texts_containing("were not saved"),
            headset_records({"parse_remote_default_config: Common settings were not saved"}));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.apply_setting(acc-1, volume, 5, 7)"}));
}

TEST_F(DocumentTest, RepeatedDocumentAsksForTheFirmwareAgain) {
  ASSERT_TRUE(config->update_from_server(kSmallDocument));
  forget_calls();
  EXPECT_TRUE(config->update_from_server(kSmallDocument));
  // The model-specific array holds only a pair half that is already stored:
  // it is completed in place, nothing counts as stored, so the device is not
  // configured again; the firmware is requested again all the same.
  EXPECT_EQ(
      host.calls.starting_with("device."),
      (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 2-0-0, H5 release)"}));
  EXPECT_EQ(
      host.log.texts_containing("apply_settings"),
      headset_records({"apply_settings: Failed to apply current firmware version settings."}));
}

// ---- version time ---------------------------------------------------------------------

TEST_F(DocumentTest, TemplateWithoutTimeKeepsThePreviousTimeAndStillStoresSettings) {
  config->set_last_updated_time(1600000000.0);
  EXPECT_TRUE(config->update_from_server(R"({"templateConfiguration": {
      "commonSettings": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}],
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{"firmwareName": "LATEST"}]}]
      }})"));
  EXPECT_EQ(config->last_updated_time(), 1600000000.0);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value="}));
  EXPECT_EQ(host.log.texts_containing("timestamp"),
            headset_records({"parse_remote_default_config: No timestamp found on the config. "
                             "Proceed with updating config."}));
}

struct TimeCase {
  const char* json;
  double stored;
  const char* logged;
};

TEST_F(DocumentTest, VersionTimeIsCJsonsNumberValue) {
  // A string, null or other non-number reads as 0, as cJSON holds it.
  const std::vector<TimeCase> cases = {
      {"1700000000.5", 1700000000.5, "1.7e+09"},
      {"12", 12.0, "12"},
      {R"("1700000000")", 0.0, "0"},
      {"null", 0.0, "0"},
      {"true", 0.0, "0"},
      {"[1700000000]", 0.0, "0"},
      {"1e308", 1e308, "1e+308"},
      {"-5", -5.0, "-5"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.json);
    config->set_last_updated_time(42.0);
    forget_calls();
    config->update_from_server(std::string(R"({"templateConfiguration": {"updatedTime": )") +
                               c.json + "}}");
    EXPECT_EQ(config->last_updated_time(), c.stored);
    EXPECT_EQ(
        host.log.texts_containing("Updated time"),
        headset_records({std::string("parse_remote_default_config: Updated time: ") + c.logged}));
  }
}

// ---- model change --------------------------------------------------------------------

const char kFirstModelDocument[] = R"({"templateConfiguration": {"commonSettings": [
    {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
    {"name": "mute", "usageId": 6, "value": 1, "access": "Admin"}],
    "modelSpecificSettings": [{"models": ["Zelor"], "modelFirmware": [{"firmwareName": "LATEST"}]}]
    }})";
const char kSecondModelDocument[] = R"({"templateConfiguration": {"commonSettings": [
    {"name": "volume", "usageId": 5, "value": 3, "access": "Admin"},
    {"name": "ring", "usageId": 8, "value": 2, "access": "Admin"}],
    "modelSpecificSettings": [{"models": ["Zelor"], "modelFirmware": [{"firmwareName": "LATEST"}]}]
    }})";

TEST_F(DocumentTest, NewModelClearsEarlierSettingsUnderTheLockBeforeStoring) {
  ASSERT_TRUE(config->update_from_server(kFirstModelDocument));
  accessory->data().model = "Zelor H-7";
  forget_calls();
  EXPECT_TRUE(config->update_from_server(kSecondModelDocument));
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "5 usage_id=5 key=volume value=3 access=Admin user_value=",
                            "8 usage_id=8 key=ring value=2 access=Admin user_value=",
                        }));
  EXPECT_EQ(config->model_name(), "Zelor H-7");
  const auto calls = host.calls.all();
  const std::vector<std::string> expected_start = {
      "log.info(HeadsetConfigImpl: update_from_server Enter:)",
      "log.info(HeadsetConfigImpl: parse_remote_default_config Enter:)",
      "log.info(HeadsetConfigImpl: parse_remote_default_config parsed updated_time:)",
      "accessory.get_model()",
      "log.info(HeadsetConfigImpl: parse_remote_default_config: Current accessory plugged in: "
      "Zelor H-7)",
      "log.notice(HeadsetConfigImpl: parse_remote_default_config: Model change detected !!)",
      "mutex.lock(#1)",
      "mutex.unlock(#1)",
      "log.notice(HeadsetConfigImpl: parse_remote_default_config: No timestamp found on the "
      "config. Proceed with updating config.)",
  };
  ASSERT_GE(calls.size(), expected_start.size());
  EXPECT_EQ(std::vector<std::string>(calls.begin(), calls.begin() + expected_start.size()),
            expected_start);
}

TEST_F(DocumentTest, SameModelKeepsEarlierSettingsAndOverwritesEntryByEntry) {
  ASSERT_TRUE(config->update_from_server(kFirstModelDocument));
  forget_calls();
  EXPECT_TRUE(config->update_from_server(kSecondModelDocument));
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "5 usage_id=5 key=volume value=3 access=Admin user_value=",
                            "6 usage_id=6 key=mute value=1 access=Admin user_value=",
                            "8 usage_id=8 key=ring value=2 access=Admin user_value=",
                        }));
  EXPECT_TRUE(host.log.texts_containing("Model change").empty());
}

TEST_F(DocumentTest, ModelNamesAreComparedExactly) {
  ASSERT_TRUE(config->update_from_server(kFirstModelDocument));
  accessory->data().model = "Zelor h-5";
  forget_calls();
  EXPECT_TRUE(config->update_from_server(kSecondModelDocument));
  EXPECT_EQ(host.log.texts_containing("Model change").size(), 1u);
  EXPECT_EQ(config->retrieve_config().size(), 2u);
}

TEST_F(DocumentTest, FirstDocumentNeverCountsAsAModelChange) {
  config->update_from_host("mute", 6, "1");
  forget_calls();
  ASSERT_TRUE(config->update_from_server(kSecondModelDocument));
  EXPECT_TRUE(host.log.texts_containing("Model change").empty());
  EXPECT_EQ(config->retrieve_config().size(), 3u);
}

TEST_F(DocumentTest, RefinedHeadsetModelChoosesItsOwnGroup) {
  // "Zelor H-9" with a "4" as the eighth serial character is a "Zelor H-8".
  accessory->data().model = "Zelor H-9";
  accessory->data().serial_number = "ZH9A0004X";
  EXPECT_TRUE(config->update_from_server(R"({"templateConfiguration": {
      "modelSpecificSettings": [
          {"models": ["Zelor H-9"], "modelFirmware": [{"firmwareName": "H9", "firmwareVersion": "9-0-0"}]},
          {"models": ["Zelor H-8"], "modelFirmware": [{"firmwareName": "H8", "firmwareVersion": "8-0-0"}]}]
      }})"));
  EXPECT_EQ(config->model_name(), "Zelor H-8");
  EXPECT_EQ(host.calls.starting_with("accessory."),
            (std::vector<std::string>{"accessory.get_model()", "accessory.get_serial_number()",
                                      "accessory.get_firmware_version()",
                                      "accessory.get_dongle_model()"}));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 8-0-0, H8)"}));
}

// ---- dongle ----------------------------------------------------------------------------

const char kDongleDocument[] = R"({"templateConfiguration": {
    "updatedTime": 1700000100,
    "commonSettings": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}],
    "modelSpecificSettings": [
        {"models": ["Zelor H-7"], "modelFirmware": [{
            "firmwareName": "H7 release", "firmwareVersion": "1-9-0",
            "firmwareParams": [{"name": "sidetone", "usageId": 9, "value": 2, "access": "Admin"}]}]},
        {"models": ["Zelor D-2"], "modelFirmware": [{
            "firmwareName": "D2 release", "firmwareVersion": "3-1-0",
            "firmwareParams": [{"name": "range", "usageId": 11, "value": 1, "access": "Admin"}]}]}]
    }})";

TEST_F(DocumentTest, DongleTakesTheFirmwareDecisionFromItsOwnEntryAndVersion) {
  accessory->data().model = "Zelor H-7";
  accessory->data().firmware_version = "1-0-0";
  accessory->data().dongle_model = "Zelor D-2";
  accessory->data().dongle_firmware_version = "3-0-4";
  EXPECT_TRUE(config->update_from_server(kDongleDocument));
  // Settings come from the headset's own entry; the dongle's are not stored.
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "5 usage_id=5 key=volume value=7 access=Admin user_value=",
                            "9 usage_id=9 key=sidetone value=2 access=Admin user_value=",
                        }));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, volume, 5, 7)",
                "device.apply_setting(acc-1, sidetone, 9, 2)",
                "device.request_firmware_upgrade(acc-1, 3-1-0, D2 release)",
            }));
  EXPECT_EQ(config->requested_firmware(), "3-1-0");
  const auto from_dongle_lookup = host.calls.excluding({"mutex.", "device."});
  const std::vector<std::string> expected_tail = {
      "accessory.get_firmware_version()",
      "accessory.get_dongle_model()",
      "log.debug(HeadsetConfigImpl: extract_model_firmware_settings: MODEL NAME Zelor D-2)",
      "log.debug(HeadsetConfigImpl: extract_model_firmware_settings config_model_name: Zelor H-7, "
      "device_model_name: Zelor D-2)",
      "log.debug(HeadsetConfigImpl: extract_model_firmware_settings config_model_name: Zelor D-2, "
      "device_model_name: Zelor D-2)",
      "accessory.get_dongle_firmware_version()",
      "log.info(HeadsetConfigImpl: parse_remote_default_config: found dongle [Zelor D-2], will "
      "upgrade dongle only)",
      "log.notice(HeadsetConfigImpl: upgrade_firmware: received 1 entries for model firmware)",
      "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 3-1-0)",
      "log.notice(HeadsetConfigImpl: check_firmware_upgrade: FW ver candidate from "
      "Configuration: 3-1-0)",
      "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 3-0-4)",
      "log.notice(HeadsetConfigImpl: check_firmware_upgrade: System info reported FW: 3-0-4)",
      "log.notice(HeadsetConfigImpl: upgrade_firmware: Requesting upgrade to 3-1-0)",
      "log.debug(HeadsetConfigImpl: upgrade_firmware: Done)",
      "log.debug(HeadsetConfigImpl: upgrade_firmware: Success.)",
      "log.info(HeadsetConfigImpl: parse_remote_default_config: Success)",
      "log.info(HeadsetConfigImpl: update_from_server: success)",
  };
  ASSERT_GE(from_dongle_lookup.size(), expected_tail.size());
  EXPECT_EQ(std::vector<std::string>(from_dongle_lookup.end() - expected_tail.size(),
                                     from_dongle_lookup.end()),
            expected_tail);
}

TEST_F(DocumentTest, DongleAlreadyOnTheConfiguredVersionIsLeftAlone) {
  accessory->data().model = "Zelor H-7";
  accessory->data().firmware_version = "1-0-0";  // the headset's own version is never considered
  accessory->data().dongle_model = "Zelor D-2";
  accessory->data().dongle_firmware_version = "3-1-0";
  EXPECT_TRUE(config->update_from_server(kDongleDocument));
  EXPECT_EQ(host.calls.count("device.request_firmware_upgrade"), 0u);
  EXPECT_EQ(host.log.texts_containing("No upgrade required").size(), 1u);
}

TEST_F(DocumentTest, DongleWithoutAnEntryFailsTheFirmwareStep) {
  accessory->data().model = "Zelor H-7";
  accessory->data().dongle_model = "Zelor D-9";
  accessory->data().dongle_firmware_version = "1-0-0";
  EXPECT_FALSE(config->update_from_server(kDongleDocument));
  // The headset's settings were stored and sent all the same.
  EXPECT_EQ(host.calls.starting_with("device."), (std::vector<std::string>{
                                                     "device.apply_setting(acc-1, volume, 5, 7)",
                                                     "device.apply_setting(acc-1, sidetone, 9, 2)",
                                                 }));
}

// ---- whole documents for a headset, a headset with a dongle and a camera --------------

// A small fleet: common settings of every access kind, three model groups.
const char kFleetDocument[] = R"({"templateConfiguration": {
    "updatedTime": 1718000000,
    "commonSettings": [
        {"name": "ringtone_volume", "usageId": 20, "value": 6, "access": "Admin"},
        {"name": "answerTone_User", "usageId": 31, "value": "1", "access": "Both"},
        {"name": "answerTone_Admin", "usageId": 31, "value": "255", "access": "Both"},
        {"name": "sidetone_Admin", "usageId": "12", "value": 3, "access": "BOTH"},
        {"name": "sidetone_User", "usageId": "12", "value": 5, "access": "BOTH"},
        {"name": "language", "usageId": 40, "value": "en-GB", "access": "user"},
        {"name": "auto_answer", "usageId": 7, "value": 0, "access": "ADMIN"}],
    "modelSpecificSettings": [
        {"models": ["H-5"], "modelFirmware": [{
            "firmwareName": "H5 release", "firmwareVersion": "2-4-10",
            "firmwareParams": [
                {"name": "anc_level", "usageId": 50, "value": 2, "access": "Admin"},
                {"name": "ringtone_volume", "usageId": 20, "value": 8, "access": "Admin"}]}]},
        {"models": ["Zelor H-7"], "modelFirmware": [{
            "firmwareName": "H7 release", "firmwareVersion": "1-9-0",
            "firmwareParams": [{"name": "busylight", "usageId": 60, "value": 1, "access": "Admin"}]}]},
        {"models": ["Zelor D-2"], "modelFirmware": [{
            "firmwareName": "D2 release", "firmwareVersion": "3-1-0-dev2",
            "firmwareParams": []}]},
        {"models": ["C-20"], "modelFirmware": [{
            "firmwareName": "C20 release", "firmwareVersion": "4-2-0",
            "firmwareParams": [
                {"name": "field_of_view", "usageId": 3, "value": 90, "access": "Admin"},
                {"name": "autoFraming_Admin", "usageId": 4, "value": 1, "access": "Both"},
                {"name": "autoFraming_User", "usageId": 4, "value": 0, "access": "Both"}]}]}]
    }})";

TEST_F(DocumentTest, WholeDocumentForAHeadset) {
  EXPECT_TRUE(config->update_from_server(kFleetDocument));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, auto_answer, 7, 0)",
                "device.set_follow_user_config(12, false)",
                "device.apply_setting(acc-1, sidetone, 12, 3)",
                "device.apply_setting(acc-1, ringtone_volume, 20, 8)",
                "device.set_follow_user_config(31, true)",
                "device.apply_setting(acc-1, anc_level, 50, 2)",
                "device.request_firmware_upgrade(acc-1, 2-4-10, H5 release)",
            }));
  // "language" is a user setting: stored, not sent under CONFIGURE. Plain
  // entries carry the user value that answerTone_User left in the working
  // record (sidetone_User completed its entry in place and left it alone).
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "7 usage_id=7 key=auto_answer value=0 access=ADMIN user_value=1",
                            "12 usage_id=12 key=sidetone value=3 access=BOTH user_value=5",
                            "20 usage_id=20 key=ringtone_volume value=8 access=Admin user_value=",
                            "31 usage_id=31 key=answerTone value=255 access=Both user_value=1",
                            "40 usage_id=40 key=language value=en-GB access=User user_value=1",
                            "50 usage_id=50 key=anc_level value=2 access=Admin user_value=",
                        }));
  EXPECT_EQ(config->last_updated_time(), 1718000000.0);
}

TEST_F(DocumentTest, WholeDocumentForAHeadsetWithADongle) {
  accessory->data().model = "Zelor H-7";
  accessory->data().firmware_version = "1-8-0";
  accessory->data().dongle_model = "Zelor D-2";
  accessory->data().dongle_firmware_version = "3-0-0";
  EXPECT_TRUE(config->update_from_server(kFleetDocument));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, auto_answer, 7, 0)",
                "device.set_follow_user_config(12, false)",
                "device.apply_setting(acc-1, sidetone, 12, 3)",
                "device.apply_setting(acc-1, ringtone_volume, 20, 6)",
                "device.set_follow_user_config(31, true)",
                "device.apply_setting(acc-1, busylight, 60, 1)",
                "device.request_firmware_upgrade(acc-1, 3-1-0-dev2, D2 release)",
            }));
}

TEST_F(DocumentTest, WholeDocumentForACamera) {
  AccessoryData camera_data;
  camera_data.type = 2;
  camera_data.model = "Zelor C-20";
  camera_data.firmware_version = "4-1-7";
  auto camera = host.accessory(camera_data);
  std::unique_ptr<korrin::config::ConfigInterface, void (*)(korrin::config::ConfigInterface*)>
      camera_config(create_config("cam-1", camera.get()), delete_config);
  ASSERT_NE(camera_config, nullptr);
  forget_calls();
  EXPECT_TRUE(camera_config->update_from_server(kFleetDocument));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(cam-1, field_of_view, 3, 90)",
                "device.set_follow_user_config(4, false)",
                "device.apply_setting(cam-1, autoFraming, 4, 1)",
                "device.apply_setting(cam-1, auto_answer, 7, 0)",
                "device.set_follow_user_config(12, false)",
                "device.apply_setting(cam-1, sidetone, 12, 3)",
                "device.apply_setting(cam-1, ringtone_volume, 20, 6)",
                "device.set_follow_user_config(31, true)",
                "device.request_firmware_upgrade(cam-1, 4-2-0, C20 release)",
            }));
  EXPECT_EQ(host.log.texts().back(), "CameraConfigImpl: update_from_server: success");
}

// ---- freeing the tree on every path ------------------------------------------------------

TEST_F(DocumentTest, ParsedTreeIsFreedOnEveryPath) {
  // Counts cJSON allocations still alive, to show that every tree is freed.
  const korrin_test::JsonBlockCounter json_blocks;
  const std::vector<std::string> documents = {
      kSmallDocument,                                      // success
      "{}",                                                // no template
      R"({"userId": "u", "templateConfiguration": {}})",   // firmware step fails
      R"({"templateConfiguration": {"updatedTime": 1}})",  // nothing at all
      std::string(kSmallDocument).substr(0, 100),          // parse error
      "",                                                  // empty
      R"([[[[{"templateConfiguration": {"commonSettings": 5}}]]]])",
  };
  for (const auto& document : documents) {
    SCOPED_TRACE(document);
    config->update_from_server(document);
    EXPECT_EQ(json_blocks.live(), 0);
  }
}

TEST_F(DocumentTest, ParsedTreeIsFreedWhenTheHostThrows) {
  const korrin_test::JsonBlockCounter json_blocks;
  for (const char* operation : {"accessory.get_model", "accessory.get_dongle_model",
                                "device.apply_setting", "device.request_firmware_upgrade"}) {
    SCOPED_TRACE(operation);
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    host.calls.arm_fault(operation);
    EXPECT_THROW(config->update_from_server(kSmallDocument), korrin_test::InjectedFault);
    EXPECT_EQ(json_blocks.live(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
  }
}

// ---- update_from_host --------------------------------------------------------------------

TEST_F(DocumentTest, HostSettingWithEmptyTextsIsStoredAsGiven) {
  EXPECT_TRUE(config->update_from_host("", 7, ""));
  EXPECT_EQ(settings(), (std::vector<std::string>{"7 usage_id=7 key= value= access= user_value="}));
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{
                "mutex.lock(#1)",
                "mutex.unlock(#1)",
                "log.info(HeadsetConfigImpl: update_from_host: Updated id: 7, key: , value: )",
            }));
}

TEST_F(DocumentTest, HostSettingReplacesADocumentEntryEntirely) {
  ASSERT_TRUE(config->update_from_server(kFleetDocument));
  EXPECT_TRUE(config->update_from_host("sidetone", 12, "9"));
  EXPECT_EQ(config->retrieve_config().at(12).value, "9");
  EXPECT_EQ(config->retrieve_config().at(12).access, "");
  EXPECT_EQ(config->retrieve_config().at(12).user_value, "");
  EXPECT_TRUE(config->update_from_host("gain", -3, "x"));
  EXPECT_EQ(config->retrieve_config().at(-3).key, "gain");
}

}  // namespace

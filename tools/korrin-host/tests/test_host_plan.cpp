// What a plan reports about one accessory, from the library run on small
// documents written for each question, and its agreement with the library's
// reviewed outcome of every example document.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "korrin/plugins.h"
#include "korrin_host/accessory.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"
#include "korrin_plan/plan.h"

namespace {

using korrin_host::AccessoryFacts;
using korrin_host::DeviceCall;
using korrin_host::LogRecord;
using korrin_plan::AccessoryPlan;
using korrin_plan::DocumentOutcome;
using korrin_plan::FirmwarePlan;
using korrin_plan::PlanHost;
using korrin_plan::PlannedSetting;
using korrin_plan::StoredSetting;

AccessoryFacts headset(const std::string& model, const std::string& serial,
                       const std::string& firmware) {
  AccessoryFacts facts;
  facts.id = "hs-1";
  facts.type = 1;
  facts.vendor = "Zelor";
  facts.model = model;
  facts.serial_number = serial;
  facts.firmware_version = firmware;
  facts.vendor_headset = true;
  return facts;
}

PlanHost file_host() {
  PlanHost host;
  host.config_url_template = "file:///plans/document.json";
  return host;
}

AccessoryPlan plan(const std::string& document, const AccessoryFacts& facts,
                   const std::string* previous_time = nullptr, const PlanHost& host = file_host()) {
  return korrin_plan::plan_accessory(
      document, facts, host,
      previous_time != nullptr ? std::optional<std::string>(*previous_time) : std::nullopt);
}

// A document with one model group for `models`.
std::string document_for(const std::string& models, const std::string& firmware_name,
                         const std::string& firmware_version, const std::string& params,
                         const std::string& time = "\"updatedTime\": 1700000000,") {
  return R"({"templateConfiguration": {)" + time + R"(
    "commonSettings": [{"name": "ringer", "usageId": 101, "value": 4, "access": "Admin"}],
    "modelSpecificSettings": [{"models": [)" +
         models + R"(], "modelFirmware": [{"firmwareName": ")" + firmware_name +
         R"(", "firmwareVersion": ")" + firmware_version + R"(", "firmwareParams": [)" + params +
         "]}]}]}}";
}

std::string simple_document(const std::string& version = "5-1-0") {
  return document_for(R"("Zelor H-9")", "fw-h9.bin", version,
                      R"({"name": "anc", "usageId": 20, "value": "high", "access": "Admin"})");
}

std::vector<std::string> texts_of(const std::vector<LogRecord>& records) {
  std::vector<std::string> texts;
  for (const LogRecord& record : records) {
    texts.push_back(record.text);
  }
  return texts;
}

std::vector<std::string> call_lines(const AccessoryPlan& result) {
  std::vector<std::string> lines;
  for (const DeviceCall& call : result.calls) {
    lines.push_back(korrin_host::describe_call(call));
  }
  return lines;
}

// "usage key sent value access dual follow stored user" of each row.
std::vector<std::string> rows_of(const AccessoryPlan& result) {
  std::vector<std::string> rows;
  for (const PlannedSetting& row : result.settings) {
    rows.push_back(std::to_string(row.usage_id) + " " + row.key + " " +
                   (row.sent ? "sent=" + row.value : std::string("not-sent")) + " " + row.access +
                   (row.dual ? (row.follow_user ? " follows" : " configured") : "") +
                   " stored=" + row.stored_value + (row.dual ? " user=" + row.user_value : ""));
  }
  return rows;
}

std::vector<std::string> not_sent_of(const AccessoryPlan& result) {
  std::vector<std::string> rows;
  for (const StoredSetting& row : result.not_sent) {
    rows.push_back(std::to_string(row.usage_id) + " " + row.key + "=" + row.value + " " +
                   row.access);
  }
  return rows;
}

TEST(HostPlan, TakesADocumentAndReportsWhatTheDeviceReceives) {
  const AccessoryPlan result = plan(simple_document(), headset("Zelor H-9", "ZH9C0007A1", "5-0-2"));
  EXPECT_EQ(result.outcome, DocumentOutcome::kTaken);
  EXPECT_EQ(result.outcome_detail, "");
  EXPECT_EQ(result.resolved_model, "Zelor H-9");
  EXPECT_EQ(result.template_time, 1700000000.0);
  // Ascending usage ids, whatever the document's order of sections.
  EXPECT_EQ(call_lines(result), (std::vector<std::string>{
                                    "apply_setting(hs-1, anc, 20, high)",
                                    "apply_setting(hs-1, ringer, 101, 4)",
                                    "request_firmware_upgrade(hs-1, 5-1-0, fw-h9.bin)",
                                }));
  EXPECT_EQ(rows_of(result), (std::vector<std::string>{"20 anc sent=high Admin stored=high",
                                                       "101 ringer sent=4 Admin stored=4"}));
  EXPECT_TRUE(result.not_sent.empty());
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kUpgrade);
  EXPECT_EQ(result.firmware.version, "5-1-0");
  EXPECT_EQ(result.firmware.name, "fw-h9.bin");
  EXPECT_TRUE(result.warnings.empty());
  EXPECT_FALSE(result.configure_checked);
  EXPECT_EQ(result.fetched_urls, std::vector<std::string>{"file:///plans/document.json"});
}

TEST(HostPlan, ResolvesTheModelWithTheSerialNumberRuleAndUsesThatModelsGroup) {
  const std::string document = R"({"templateConfiguration": {"modelSpecificSettings": [
    {"models": ["Zelor H-9"], "modelFirmware": [{"firmwareName": "h9", "firmwareVersion": "Current",
      "firmwareParams": [{"name": "nine", "usageId": 9, "value": 9, "access": "Admin"}]}]},
    {"models": ["Zelor H-8"], "modelFirmware": [{"firmwareName": "h8", "firmwareVersion": "Current",
      "firmwareParams": [{"name": "eight", "usageId": 8, "value": 8, "access": "Admin"}]}]}]}})";
  // The eighth character of the serial number tells an H-8 that reports "Zelor H-9".
  const AccessoryPlan h8 = plan(document, headset("Zelor H-9", "ZH9C0004B2", "1-0-0"));
  EXPECT_EQ(h8.resolved_model, "Zelor H-8");
  EXPECT_EQ(rows_of(h8), std::vector<std::string>{"8 eight sent=8 Admin stored=8"});
  const AccessoryPlan h9 = plan(document, headset("Zelor H-9", "ZH9C0007A1", "1-0-0"));
  EXPECT_EQ(h9.resolved_model, "Zelor H-9");
  EXPECT_EQ(rows_of(h9), std::vector<std::string>{"9 nine sent=9 Admin stored=9"});
}

TEST(HostPlan, ListsSettingsInTheOrderOfTheDeviceCallsWithTheirAccessAndFollowUserFlag) {
  const std::string params = R"(
      {"name": "statusLed", "usageId": 5, "value": "on", "access": "admin"},
      {"name": "busylight_User", "usageId": 21, "value": 0, "access": "Both"},
      {"name": "busylight_Admin", "usageId": 21, "value": 1, "access": "Both"},
      {"name": "sidetone_Admin", "usageId": 12, "value": 255, "access": "BOTH"},
      {"name": "sidetone_User", "usageId": 12, "value": 3, "access": "Both"},
      {"name": "autoAnswer", "usageId": 9, "value": "off", "access": "User"},
      {"name": "micBoost", "usageId": 30, "value": 2, "access": "Admin"})";
  const AccessoryPlan result = plan(document_for(R"("Zelor H-9")", "fw", "Current", params),
                                    headset("Zelor H-9", "ZH9C0007A1", "5-0-2"));
  EXPECT_EQ(call_lines(result), (std::vector<std::string>{
                                    "apply_setting(hs-1, statusLed, 5, on)",
                                    "set_follow_user_config(12, true)",
                                    "set_follow_user_config(21, false)",
                                    "apply_setting(hs-1, busylight, 21, 1)",
                                    "apply_setting(hs-1, micBoost, 30, 2)",
                                    "apply_setting(hs-1, ringer, 101, 4)",
                                }));
  EXPECT_EQ(rows_of(result), (std::vector<std::string>{
                                 "5 statusLed sent=on admin stored=on",
                                 "12 sidetone not-sent BOTH follows stored=255 user=3",
                                 "21 busylight sent=1 Both configured stored=1 user=0",
                                 "30 micBoost sent=2 Admin stored=2",
                                 "101 ringer sent=4 Admin stored=4",
                             }));
  EXPECT_EQ(not_sent_of(result), std::vector<std::string>{"9 autoAnswer=off User"});
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kStay);
}

TEST(HostPlan, TheTemplateTimeIsTheTimeTheLibraryTook) {
  const AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  const std::string params = R"({"name": "anc", "usageId": 20, "value": 1, "access": "Admin"})";
  EXPECT_EQ(plan(document_for(R"("H-9")", "fw", "5-1-0", params, R"("updatedTime": 1700000000.5,)"),
                 facts)
                .template_time,
            1700000000.5);
  EXPECT_EQ(plan(document_for(R"("H-9")", "fw", "5-1-0", params, ""), facts).template_time, 0.0);
  // The library reads a string's number value, which is 0.
  EXPECT_EQ(plan(document_for(R"("H-9")", "fw", "5-1-0", params, R"("updatedTime": "1700000000",)"),
                 facts)
                .template_time,
            0.0);
}

TEST(HostPlan, ConfigureRequiredIsTheLibrarysAnswerToTheStampAfterTheDocument) {
  const AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  const std::string same = "x-1700000000";
  const std::string other = "x-1700000001";
  const std::string fraction = "x-1700000000.5";
  const std::string empty;
  for (const auto& stamp_and_answer : std::vector<std::pair<const std::string*, bool>>{
           {&same, false}, {&other, true}, {&fraction, true}, {&empty, true}}) {
    const AccessoryPlan result = plan(simple_document(), facts, stamp_and_answer.first);
    EXPECT_TRUE(result.configure_checked);
    EXPECT_EQ(result.configure_required, stamp_and_answer.second) << *stamp_and_answer.first;
    EXPECT_TRUE(result.configure_warnings.empty()) << *stamp_and_answer.first;
  }
}

TEST(HostPlan, AMalformedStampIsAnsweredNoWithTheLibrarysRecordKeptApartFromTheWarnings) {
  const std::string stamp = "12345";
  const AccessoryPlan result =
      plan(simple_document(), headset("Zelor H-9", "ZH9C0007A1", "5-0-2"), &stamp);
  EXPECT_TRUE(result.configure_checked);
  EXPECT_FALSE(result.configure_required);
  EXPECT_EQ(texts_of(result.configure_warnings),
            std::vector<std::string>{"HeadsetConfigImpl: is_config_required[QELM-ERR]: Version "
                                     "timestamp is incorrectly formatted. Do not configure."});
  EXPECT_EQ(result.configure_warnings[0].level, korrin::log::info);
  EXPECT_TRUE(result.warnings.empty());
}

TEST(HostPlan, AStampWhoseTimeReadsAsZeroMatchesADocumentWithoutTime) {
  // The library converts what follows the first "-": "b-5" reads as 0.
  const std::string stamp = "a-b-5";
  const std::string params = R"({"name": "anc", "usageId": 20, "value": 1, "access": "Admin"})";
  const AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  EXPECT_FALSE(
      plan(document_for(R"("H-9")", "fw", "5-1-0", params, ""), facts, &stamp).configure_required);
  EXPECT_TRUE(plan(simple_document(), facts, &stamp).configure_required);
}

TEST(HostPlan, FirmwareActionsFollowTheLibrarysDecision) {
  const AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  const AccessoryPlan same = plan(simple_document("5-0-2"), facts);
  EXPECT_EQ(same.firmware.action, FirmwarePlan::kNothing);
  EXPECT_TRUE(same.firmware.decided);
  EXPECT_EQ(same.firmware.version, "5-0-2");

  const AccessoryPlan older = plan(simple_document("4-0-0"), facts);  // downgrades are allowed
  EXPECT_EQ(older.firmware.action, FirmwarePlan::kUpgrade);
  EXPECT_EQ(older.firmware.version, "4-0-0");
  EXPECT_TRUE(older.firmware.downgrade);
  EXPECT_EQ(korrin_plan::describe_firmware(older.firmware),
            "downgrade to 4-0-0 requested (firmware name fw-h9.bin)");

  const AccessoryPlan newer = plan(simple_document("5-1-0"), facts);
  EXPECT_EQ(newer.firmware.action, FirmwarePlan::kUpgrade);
  EXPECT_FALSE(newer.firmware.downgrade);
  EXPECT_EQ(korrin_plan::describe_firmware(newer.firmware),
            "upgrade to 5-1-0 requested (firmware name fw-h9.bin)");

  const AccessoryPlan stay = plan(simple_document("CURRENT"), facts);
  EXPECT_EQ(stay.firmware.action, FirmwarePlan::kStay);

  const AccessoryPlan empty = plan(simple_document(""), facts);
  EXPECT_EQ(empty.firmware.action, FirmwarePlan::kNothing);
  EXPECT_TRUE(empty.firmware.decided);
  EXPECT_EQ(empty.firmware.version, "");

  const AccessoryPlan latest =
      plan(document_for(R"("Zelor")", "latest", "9-9-9",
                        R"({"name": "anc", "usageId": 20, "value": 1, "access": "Admin"})"),
           facts);
  EXPECT_EQ(latest.firmware.action, FirmwarePlan::kDelegate);
  EXPECT_EQ(call_lines(latest).back(), "delegate_upgrade(hs-1)");
}

TEST(HostPlan, AVersionTheLibraryCannotReadDecidesNothingWithItsWarning) {
  const AccessoryPlan result =
      plan(simple_document("1_2"), headset("Zelor H-9", "ZH9C0007A1", "5-0-2"));
  EXPECT_EQ(result.outcome, DocumentOutcome::kTaken);
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kNothing);
  EXPECT_EQ(result.firmware.version, "1_2");
  EXPECT_EQ(texts_of(result.warnings),
            std::vector<std::string>{"HeadsetConfigImpl: check_firmware_upgrade: naming format not "
                                     "supported, candidate<1_2>, reported<5-0-2>"});
  EXPECT_EQ(result.warnings[0].level, korrin::log::warning);
}

TEST(HostPlan, ADongleTakesItsFirmwareFromTheDonglesGroupAndTheSettingsFromTheHeadsets) {
  const std::string document = R"({"templateConfiguration": {"modelSpecificSettings": [
    {"models": ["H-7 Wireless"], "modelFirmware": [{"firmwareName": "h7", "firmwareVersion": "1-9-0",
      "firmwareParams": [{"name": "radio", "usageId": 31, "value": "low", "access": "Admin"}]}]},
    {"models": ["Zelor D-2"], "modelFirmware": [{"firmwareName": "d2", "firmwareVersion": "3-1-0",
      "firmwareParams": [{"name": "pairing", "usageId": 32, "value": "on", "access": "Admin"}]}]}]}})";
  AccessoryFacts facts = headset("Zelor H-7 Wireless", "ZH7W5521309", "1-8-0");
  facts.dongle_model = "Zelor D-2";
  facts.dongle_firmware_version = "3-0-9";
  const AccessoryPlan result = plan(document, facts);
  EXPECT_EQ(rows_of(result), std::vector<std::string>{"31 radio sent=low Admin stored=low"});
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kUpgrade);
  EXPECT_EQ(result.firmware.version, "3-1-0");
  EXPECT_EQ(result.firmware.name, "d2");
}

TEST(HostPlan, ADocumentWithoutModelFirmwareIsRejectedWithTheLibrarysWarnings) {
  const std::string document = R"({"templateConfiguration": {"updatedTime": 1700000000,
    "commonSettings": [{"name": "ringer", "usageId": 101, "value": 4, "access": "Admin"}],
    "modelSpecificSettings": [{"models": ["Zelor H-9"]}]}})";
  const AccessoryPlan result = plan(document, headset("Zelor H-9", "ZH9C0007A1", "5-0-2"));
  EXPECT_EQ(result.outcome, DocumentOutcome::kRejected);
  EXPECT_EQ(result.outcome_detail, "the library reported a configuration failure (code 1)");
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kFailure);
  // The common settings were stored but never sent: only the model's own
  // settings make the library configure the device.
  EXPECT_TRUE(result.settings.empty());
  EXPECT_EQ(not_sent_of(result), std::vector<std::string>{"101 ringer=4 Admin"});
  EXPECT_EQ(result.template_time, 1700000000.0);
  EXPECT_EQ(call_lines(result), std::vector<std::string>{"report_config_failure(hs-1, 1)"});
  EXPECT_EQ(texts_of(result.warnings),
            (std::vector<std::string>{
                "HeadsetConfigImpl: upgrade_firmware[PARSING-ERR]: Model_firmware_settings do not "
                "exist",
                "Lib::ConfigManagerImpl: on_fetch_config_success: unable to update config "
                "retrieved from server in library",
            }));
}

TEST(HostPlan, AnUnparsableDocumentIsRejected) {
  const AccessoryPlan result =
      plan("{\"templateConfiguration\": {", headset("Zelor H-5", "S", "1"));
  EXPECT_EQ(result.outcome, DocumentOutcome::kRejected);
  EXPECT_EQ(call_lines(result), std::vector<std::string>{"report_config_failure(hs-1, 1)"});
  EXPECT_EQ(texts_of(result.warnings),
            std::vector<std::string>{"Lib::ConfigManagerImpl: on_fetch_config_success: unable "
                                     "to update config retrieved from server in library"});
  EXPECT_EQ(result.template_time, 0.0);
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kFailure);
  // Rejected, but by a configuration object that read the document.
  EXPECT_TRUE(result.configurable);
}

TEST(HostPlan, AnAccessoryTypeTheLibraryDoesNotConfigureIsNotConfigured) {
  AccessoryFacts facts = headset("Speaker", "S1", "1");
  facts.type = 7;
  const std::string stamp = "x-1";
  const AccessoryPlan result = plan(simple_document(), facts, &stamp);
  EXPECT_EQ(result.outcome, DocumentOutcome::kNotConfigured);
  EXPECT_EQ(result.outcome_detail, "the library has no configuration object for accessory type 7");
  EXPECT_FALSE(result.configurable);
  EXPECT_TRUE(result.calls.empty());
  EXPECT_TRUE(result.fetched_urls.empty());
  EXPECT_TRUE(result.warnings.empty());
  EXPECT_FALSE(result.configure_checked);
  EXPECT_EQ(result.firmware.action, FirmwarePlan::kNothing);
  EXPECT_FALSE(result.firmware.decided);
}

TEST(HostPlan, ACameraIsPlannedWithTheCameraObject) {
  AccessoryFacts facts = headset("Zelor C-20", "ZC20A0099812", "4-1-7");
  facts.type = 2;
  const AccessoryPlan result =
      plan(document_for(R"("Zelor C-20")", "c20", "Current",
                        R"({"name": "fov", "usageId": 40, "value": 90, "access": "Admin"})"),
           facts, nullptr);
  EXPECT_EQ(result.outcome, DocumentOutcome::kTaken);
  EXPECT_EQ(rows_of(result), (std::vector<std::string>{"40 fov sent=90 Admin stored=90",
                                                       "101 ringer sent=4 Admin stored=4"}));
  const std::string stamp = "bad";
  EXPECT_EQ(texts_of(plan(simple_document(), facts, &stamp).configure_warnings),
            std::vector<std::string>{"CameraConfigImpl: is_config_required[QELM-ERR]: Version "
                                     "timestamp is incorrectly formatted. Do not configure."});
}

TEST(HostPlan, AnAccessoryThatIsNotReadyIsPlannedAsIfItWere) {
  AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  facts.config_ready.ever = false;
  EXPECT_EQ(plan(simple_document(), facts).outcome, DocumentOutcome::kTaken);
}

TEST(HostPlan, WithoutAUrlTemplateADualSettingWithoutUnderscoreBecomesAUserSetting) {
  const std::string params = R"({"name": "volume", "usageId": 7, "value": 3, "access": "Both"})";
  const std::string document = document_for(R"("Zelor H-9")", "fw", "Current", params);
  const AccessoryFacts facts = headset("Zelor H-9", "ZH9C0007A1", "5-0-2");
  // With a template the library drops the entry without a record, so the
  // model stores nothing and the device is not configured at all.
  const AccessoryPlan with = plan(document, facts);
  EXPECT_TRUE(with.settings.empty());
  EXPECT_EQ(not_sent_of(with), std::vector<std::string>{"101 ringer=4 Admin"});
  const AccessoryPlan without = plan(document, facts, nullptr, PlanHost());
  EXPECT_EQ(rows_of(without), std::vector<std::string>{"101 ringer sent=4 Admin stored=4"});
  EXPECT_EQ(not_sent_of(without), std::vector<std::string>{"7 volume=3 User"});
  EXPECT_EQ(without.fetched_urls, std::vector<std::string>{"defaultheadsetconfig.json"});
}

TEST(HostPlan, LeavesNoPluginTableLockOrAccessoryCopyBehind) {
  const int accessories_before = korrin_host::Accessory::live();
  const std::string stamp = "x-5";
  plan(simple_document(), headset("Zelor H-9", "ZH9C0007A1", "5-0-2"), &stamp);
  EXPECT_EQ(korrin_host::Accessory::live(), accessories_before);
  EXPECT_EQ(korrin::globals::plugins.log, nullptr);
  EXPECT_EQ(korrin::globals::plugins.network, nullptr);
  EXPECT_EQ(korrin::globals::plugins.device, nullptr);
  EXPECT_EQ(korrin::globals::plugins.system_info, nullptr);
  EXPECT_EQ(korrin::globals::plugins.task_dispatcher, nullptr);
  EXPECT_EQ(korrin::globals::plugins.mutex_factory, nullptr);
}

class ForwardSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel, const std::string& text) override {
    texts.push_back(text);
  }
  std::vector<std::string> texts;
};

TEST(HostPlan, ForwardsEveryLibraryRecordWhenAsked) {
  ForwardSink sink;
  PlanHost host = file_host();
  host.log_forward = &sink;
  const std::string stamp = "12345";
  plan(simple_document(), headset("Zelor H-9", "ZH9C0007A1", "5-0-2"), &stamp, host);
  ASSERT_FALSE(sink.texts.empty());
  EXPECT_EQ(sink.texts.front(), "Lib::ConfigManagerImpl: configure_accessory: ENTER");
  EXPECT_EQ(sink.texts.back(),
            "HeadsetConfigImpl: is_config_required[QELM-ERR]: Version timestamp is incorrectly "
            "formatted. Do not configure.");
}

// --- Agreement with the library's reviewed outcomes ------------------------

struct ExpectedOutcome {
  bool result = false;
  std::vector<std::string> device_calls;  // without the "device." prefix
  int stored = 0;
};

// tests/data/<document>.expected, by accessory id (see tests/data/README.md).
std::map<std::string, ExpectedOutcome> read_expected(const std::string& path) {
  std::map<std::string, ExpectedOutcome> outcomes;
  std::istringstream in(korrin_host::read_text_file(path));
  std::string line;
  ExpectedOutcome* current = nullptr;
  while (std::getline(in, line)) {
    if (line.rfind('[', 0) == 0) {
      current = &outcomes[line.substr(1, line.find(']') - 1)];
    } else if (current == nullptr) {
      continue;
    } else if (line.rfind("result: ", 0) == 0) {
      current->result = line == "result: true";
    } else if (line.rfind("device.", 0) == 0) {
      current->device_calls.push_back(line.substr(7));
    } else if (line.rfind("settings: ", 0) == 0) {
      current->stored = std::stoi(line.substr(10));
    }
  }
  return outcomes;
}

class PlanAgreesWithExpectedOutcome : public ::testing::TestWithParam<std::string> {};

TEST_P(PlanAgreesWithExpectedOutcome, ForEveryExampleAccessory) {
  const std::string document =
      korrin_host::read_text_file(KORRIN_EXAMPLES_DIR "/documents/" + GetParam() + ".json");
  const std::map<std::string, ExpectedOutcome> expected =
      read_expected(KORRIN_SOURCE_DIR "/tests/data/" + GetParam() + ".expected");
  const std::vector<AccessoryFacts> accessories =
      korrin_host::load_accessories(KORRIN_EXAMPLES_DIR "/accessories.json");
  ASSERT_EQ(expected.size(), accessories.size());
  for (const AccessoryFacts& facts : accessories) {
    SCOPED_TRACE(facts.id);
    const AccessoryPlan result = plan(document, facts);
    const ExpectedOutcome& outcome = expected.at(facts.id);
    EXPECT_EQ(result.outcome == DocumentOutcome::kTaken, outcome.result);
    std::vector<std::string> calls;
    for (const std::string& line : call_lines(result)) {
      // The expected outcome is the configuration object's alone; the
      // failure report is the manager's.
      if (line.rfind("report_config_failure", 0) != 0) {
        calls.push_back(line);
      }
    }
    EXPECT_EQ(calls, outcome.device_calls);
    EXPECT_EQ(static_cast<int>(result.settings.size() + result.not_sent.size()), outcome.stored);
  }
}

INSTANTIATE_TEST_SUITE_P(ExampleDocuments, PlanAgreesWithExpectedOutcome,
                         ::testing::Values("headset_fleet", "camera_room", "latest_driver",
                                           "wrapped_in_array", "template_not_first",
                                           "template_missing", "wrong_member_types", "truncated",
                                           "office"),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           return info.param;
                         });

}  // namespace

// Input the document author controls must never bring the process down:
// wrong member types everywhere, deep nesting, huge numbers, empty arrays,
// a 10 MB document and truncated text.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/probe_config_test.h"

namespace {

using korrin_test::headset_records;
using korrin_test::ProbeConfig;

std::string repeat(const std::string& piece, int times) {
  std::string out;
  out.reserve(piece.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) {
    out += piece;
  }
  return out;
}

// A template that stores one setting and requests firmware 2-0-0 for "H-5".
const char kTemplate[] = R"({
    "commonSettings": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}],
    "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
        "firmwareName": "H5", "firmwareVersion": "2-0-0",
        "firmwareParams": [{"name": "mute", "usageId": 6, "value": 0, "access": "Admin"}]}]}]})";

class DocumentRobustnessTest : public korrin_test::ProbeConfigTest {
 protected:
  void fresh_config() {
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    forget_calls();
  }
};

// ---- nesting ------------------------------------------------------------------

TEST_F(DocumentRobustnessTest, TenThousandNestedArraysAreRejectedByTheParser) {
  // cJSON refuses nesting deeper than 1000 and stops after the 1000th "[".
  const std::string document = repeat("[", 10000) + repeat("]", 10000);
  EXPECT_FALSE(config->update_from_server(document));
  EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: " + document.substr(1000)}));
}

TEST_F(DocumentRobustnessTest, TenThousandNestedObjectsAreRejectedByTheParser) {
  const std::string document = repeat(R"({"a":)", 10000) + "1" + repeat("}", 10000);
  EXPECT_FALSE(config->update_from_server(document));
  EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: " + document.substr(5000)}));
}

TEST_F(DocumentRobustnessTest, TemplateDeepInsideNestedArraysIsFound) {
  const std::string document =
      repeat("[", 990) + R"({"templateConfiguration": )" + kTemplate + "}" + repeat("]", 990);
  EXPECT_TRUE(config->update_from_server(document));
  EXPECT_EQ(config->retrieve_config().size(), 2u);
}

TEST_F(DocumentRobustnessTest, TemplateDeepInsideFirstMembersIsFound) {
  const std::string document = repeat(R"({"level": )", 990) + R"({"templateConfiguration": )" +
                               kTemplate + "}" + repeat("}", 990);
  EXPECT_TRUE(config->update_from_server(document));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, volume, 5, 7)",
                "device.apply_setting(acc-1, mute, 6, 0)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, H5)",
            }));
}

TEST_F(DocumentRobustnessTest, DeepDeadEndWithoutTemplateIsNotFound) {
  const std::string document = repeat(R"({"level": [)", 450) + R"({"x": 1})" + repeat("]}", 450);
  EXPECT_FALSE(config->update_from_server(document));
  EXPECT_EQ(
      host.log.texts(),
      headset_records({"update_from_server Enter:", "update_from_server: No template config found.",
                       "update_from_server: No config found."}));
}

TEST_F(DocumentRobustnessTest, DeeplyNestedMembersInsideEntriesAreWrongTypes) {
  const std::string nested = repeat("[", 900) + "7" + repeat("]", 900);
  const std::string document =
      R"({"templateConfiguration": {"commonSettings": [
          {"name": "volume", "usageId": 5, "access": "Admin", "value": )" +
      nested + R"(},
          {"name": "tone", "usageId": )" +
      nested + R"(, "access": "Admin", "value": 1},
          {"name": )" +
      nested + R"(, "usageId": 1, "access": "Admin", "value": 1}],
      "modelSpecificSettings": [{"models": )" +
      nested + R"(}]}})";
  EXPECT_FALSE(config->update_from_server(document));
  EXPECT_EQ(host.log.texts_containing("save_config_to_map"),
            headset_records({
                "save_config_to_map[QELM-ERR]: Invalid Value for param volume",
                "save_config_to_map[QELM-ERR]: Invalid Usage ID for param tone",
                "save_config_to_map[QELM-ERR]: Parameter extracted has missing KEY name. Cannot "
                "identify which parameter.",
                "save_config_to_map: Saved 0 settings. current map size: 0",
            }));
  EXPECT_TRUE(config->retrieve_config().empty());
}

// ---- wrong member types --------------------------------------------------------------

struct TypedDocument {
  const char* what;
  std::string document;
  bool result;
  std::vector<std::string> device_calls;
};

TEST_F(DocumentRobustnessTest, WrongMemberTypesEverywhere) {
  const std::string ok_group =
      R"({"models": ["H-5"], "modelFirmware": [{"firmwareName": "H5", "firmwareVersion": "2-0-0",
          "firmwareParams": [{"name": "mute", "usageId": 6, "value": 0, "access": "Admin"}]}]})";
  const std::string common =
      R"("commonSettings": [{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}])";
  const std::string request = "device.request_firmware_upgrade(acc-1, 2-0-0, H5)";
  const std::vector<TypedDocument> cases = {
      {"template is a number", R"({"templateConfiguration": 5})", false, {}},
      {"template is a string", R"({"templateConfiguration": "{}"})", false, {}},
      {"updatedTime is an object",
       R"({"templateConfiguration": {"updatedTime": {"t": 1}, "modelSpecificSettings": [)" +
           ok_group + "]}}",
       true,
       {"device.apply_setting(acc-1, mute, 6, 0)", request}},
      {"commonSettings is a string",
       R"({"templateConfiguration": {"commonSettings": "volume", "modelSpecificSettings": [)" +
           ok_group + "]}}",
       true,
       {"device.apply_setting(acc-1, mute, 6, 0)", request}},
      {"commonSettings holds scalars",
       R"({"templateConfiguration": {"commonSettings": [1, "a", null, true, []],
           "modelSpecificSettings": [)" +
           ok_group + "]}}",
       true,
       {"device.apply_setting(acc-1, mute, 6, 0)", request}},
      {"modelSpecificSettings is a string",
       R"({"templateConfiguration": {)" + common + R"(, "modelSpecificSettings": "H-5"}})",
       false,
       {}},
      {"modelSpecificSettings holds scalars",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [1, "H-5", null, [["H-5"]], )" + ok_group + "]}}",
       true,
       {"device.apply_setting(acc-1, volume, 5, 7)", "device.apply_setting(acc-1, mute, 6, 0)",
        request}},
      {"models is a string",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": "H-5", "modelFirmware": []}]}})",
       false,
       {}},
      {"models holds non-strings",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": [5, null, {"m": "H-5"}, ["H-5"]],
               "modelFirmware": [{"firmwareName": "LATEST"}]}]}})",
       false,
       {}},
      {"modelFirmware is a string",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": "2-0-0"}]}})",
       false,
       {}},
      {"modelFirmware is an object",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"],
               "modelFirmware": {"firmwareName": "H5", "firmwareVersion": "2-0-0"}}]}})",
       false,
       {}},
      {"modelFirmware holds scalars",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [7, "x"]}]}})",
       false,
       {}},
      {"firmwareParams is a number",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
               "firmwareName": "H5", "firmwareVersion": "2-0-0", "firmwareParams": 3}]}]}})",
       true,
       {request}},
      {"firmwareName and firmwareVersion are numbers",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
               "firmwareName": 1, "firmwareVersion": 2}]}]}})",
       true,
       {}},
      {"firmwareName is an array, firmwareVersion a string",
       R"({"templateConfiguration": {)" + common +
           R"(, "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
               "firmwareName": ["LATEST"], "firmwareVersion": "2-0-0"}]}]}})",
       true,
       {"device.request_firmware_upgrade(acc-1, 2-0-0, )"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fresh_config();
    EXPECT_EQ(config->update_from_server(c.document), c.result);
    EXPECT_EQ(host.calls.starting_with("device."), c.device_calls);
    EXPECT_EQ(host.mutexes.violations(), 0);
  }
}

// ---- huge numbers ------------------------------------------------------------------

TEST_F(DocumentRobustnessTest, HugeNumbersSaturateInsteadOfOverflowing) {
  EXPECT_TRUE(config->update_from_server(R"({"templateConfiguration": {
      "updatedTime": 1e400,
      "commonSettings": [
          {"name": "a", "usageId": 1e400, "value": -1e400, "access": "Admin"},
          {"name": "b", "usageId": "184467440737095516160000", "value": 9.9e18, "access": "Admin"},
          {"name": "c", "usageId": -4294967296, "value": 2147483648, "access": "Admin"}],
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
          "firmwareName": "H5", "firmwareVersion": "99999999999999999999999999-1",
          "firmwareParams": [{"name": "d", "usageId": 4, "value": 1, "access": "Admin"}]}]}]}})"));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, c, -2147483648, 2147483647)",
                "device.apply_setting(acc-1, d, 4, 1)",
                // "a" and "b" both saturate at INT_MAX; "b" came later and replaced "a".
                "device.apply_setting(acc-1, b, 2147483647, 2147483647)",
                "device.request_firmware_upgrade(acc-1, 99999999999999999999999999-1, H5)",
            }));
  EXPECT_EQ(host.log.texts_containing("Updated time"),
            headset_records({"parse_remote_default_config: Updated time: inf"}));
}

TEST_F(DocumentRobustnessTest, HugeVersionPiecesCompareWithoutOverflow) {
  config->downgrade_policy = false;
  accessory->data().firmware_version = "1-99999999999999999999999999999";
  EXPECT_TRUE(config->update_from_server(R"({"templateConfiguration": {
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
          "firmwareName": "H5", "firmwareVersion": "1-99999999999999999999999999998"}]}]}})"));
  // Both pieces saturate to the same number: treated as equal, so allowed.
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.request_firmware_upgrade(acc-1, 1-99999999999999999999999999998, H5)"}));
}

// ---- empty arrays ----------------------------------------------------------------------

TEST_F(DocumentRobustnessTest, EmptyArraysEverywhere) {
  const std::vector<std::string> documents = {
      R"({"templateConfiguration": {"commonSettings": [], "modelSpecificSettings": []}})",
      R"({"templateConfiguration": {"modelSpecificSettings": [{"models": [], "modelFirmware": []}]}})",
      R"({"templateConfiguration": {"modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": []}]}})",
      R"({"templateConfiguration": {"modelSpecificSettings": [{"models": ["H-5"],
          "modelFirmware": [{"firmwareParams": []}]}]}})",
      R"([[]])",
      R"([])",
  };
  for (const auto& document : documents) {
    SCOPED_TRACE(document);
    fresh_config();
    EXPECT_FALSE(config->update_from_server(document));
    EXPECT_TRUE(config->retrieve_config().empty());
    EXPECT_EQ(host.calls.count("device."), 0u);
  }
}

TEST_F(DocumentRobustnessTest, EmptyFirmwareListLogsItsCountOfZero) {
  EXPECT_FALSE(config->update_from_server(R"({"templateConfiguration": {
      "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": []}]}})"));
  const auto texts = host.log.texts();
  EXPECT_EQ(std::vector<std::string>(texts.end() - 4, texts.end()),
            headset_records({
                "upgrade_firmware: received 0 entries for model firmware",
                "upgrade_firmware[QELM-ERR]: no/null firmare name in JSON",
                "parse_remote_default_config: Failed",
                "update_from_server: Parsing remote config failed.",
            }));
}

// ---- large documents ----------------------------------------------------------------

TEST_F(DocumentRobustnessTest, TenMegabyteDocumentWithHundredThousandSettings) {
  // 100,000 entries of about 100 bytes each; "User" settings are stored but
  // not sent, so the device sees only the model's one setting and the firmware.
  constexpr int kEntries = 100000;
  std::string document = R"({"templateConfiguration": {"updatedTime": 1, "commonSettings": [)";
  document.reserve(std::size_t{11} * 1024 * 1024);
  const std::string padding(40, 'p');
  for (int i = 0; i < kEntries; ++i) {
    document += (i == 0 ? "" : ",");
    document += R"({"name": "setting_)" + std::to_string(i) + R"(", "usageId": )" +
                std::to_string(i + 100) + R"(, "value": ")" + padding + R"(", "access": "User"})";
  }
  document += R"(], "modelSpecificSettings": [{"models": ["H-5"], "modelFirmware": [{
      "firmwareName": "H5", "firmwareVersion": "2-0-0",
      "firmwareParams": [{"name": "mute", "usageId": 6, "value": 0, "access": "Admin"}]}]}]}})";
  ASSERT_GT(document.size(), 10u * 1000 * 1000);
  EXPECT_TRUE(config->update_from_server(document));
  EXPECT_EQ(config->retrieve_config().size(), static_cast<std::size_t>(kEntries + 1));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.apply_setting(acc-1, mute, 6, 0)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, H5)",
            }));
}

TEST_F(DocumentRobustnessTest, TenMegabyteValueIsKeptWhole) {
  const std::string value(std::size_t{10} * 1024 * 1024, 'v');
  EXPECT_TRUE(config->update_from_server(
      R"({"templateConfiguration": {"modelSpecificSettings": [{"models": ["H-5"],
          "modelFirmware": [{"firmwareName": "LATEST", "firmwareParams": [
          {"name": "blob", "usageId": 1, "access": "Admin", "value": ")" +
      value + R"("}]}]}]}})"));
  EXPECT_EQ(config->retrieve_config().at(1).value.size(), value.size());
  EXPECT_EQ(host.calls.count("device.apply_setting"), 1u);
}

TEST_F(DocumentRobustnessTest, TenMegabyteDocumentBrokenNearItsStart) {
  const std::string document = R"({"templateConfiguration": {"x" 1, "pad": ")" +
                               std::string(std::size_t{10} * 1024 * 1024, 'x') + R"("}})";
  EXPECT_FALSE(config->update_from_server(document));
  // The record quotes the rest of the text from the error position.
  const auto texts = host.log.texts();
  ASSERT_EQ(texts.size(), 1u);
  // cJSON stops where it wanted ":" and found "1".
  EXPECT_EQ(texts[0], "HeadsetConfigImpl: update_from_server: " +
                          document.substr(document.find(R"(1, "pad")")));
}

// ---- truncated text -------------------------------------------------------------------

TEST_F(DocumentRobustnessTest, DocumentCutAnywhereIsRejectedWithoutEffect) {
  const std::string document = std::string(R"({"templateConfiguration": )") + kTemplate + "}";
  for (std::size_t length = 1; length < document.size(); ++length) {
    SCOPED_TRACE(length);
    forget_calls();
    EXPECT_FALSE(config->update_from_server(document.substr(0, length)));
    ASSERT_EQ(host.log.texts().size(), 1u);
    EXPECT_EQ(host.calls.count("accessory."), 0u);
  }
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.calls.count("device."), 0u);
  EXPECT_TRUE(config->update_from_server(document));
}

// ---- odd texts ---------------------------------------------------------------------------

TEST_F(DocumentRobustnessTest, EmbeddedNulEndsTheDocument) {
  const std::string document =
      std::string("{}\0", 3) + R"({"templateConfiguration": )" + kTemplate + "}";
  EXPECT_FALSE(config->update_from_server(document));
  EXPECT_EQ(host.log.texts_containing("No template config found.").size(), 1u);
}

TEST_F(DocumentRobustnessTest, NulInsideAStringIsAParseErrorQuotedUpToIt) {
  const std::string document =
      std::string(R"({"templateConfiguration": {"a": "x)") + std::string("\0", 1) + R"("}})";
  EXPECT_FALSE(config->update_from_server(document));
  // cJSON reports the unterminated string from just past its opening quote.
  EXPECT_EQ(host.log.texts(), headset_records({"update_from_server: x"}));
}

TEST_F(DocumentRobustnessTest, DuplicateTemplateMembersUseTheFirst) {
  EXPECT_TRUE(config->update_from_server(std::string(R"({"templateConfiguration": )") + kTemplate +
                                         R"(, "templateConfiguration": {}})"));
  EXPECT_EQ(config->retrieve_config().size(), 2u);
}

TEST_F(DocumentRobustnessTest, BytesThatAreNotUtf8AreCarriedThrough) {
  EXPECT_TRUE(config->update_from_server(
      "{\"templateConfiguration\": {\"modelSpecificSettings\": [{\"models\": [\"H-5\"],"
      "\"modelFirmware\": [{\"firmwareName\": \"LATEST\", \"firmwareParams\": ["
      "{\"name\": \"n\xff\xfe\", \"usageId\": 1, \"access\": \"Admin\", \"value\": "
      "\"\xc0\"}]}]}]}}"));
  EXPECT_EQ(host.calls.starting_with("device.apply_setting"),
            (std::vector<std::string>{"device.apply_setting(acc-1, n\xff\xfe, 1, \xc0)"}));
}

}  // namespace

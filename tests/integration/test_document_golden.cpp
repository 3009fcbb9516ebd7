// Every example document of examples/documents/ taken over by every example
// accessory of examples/accessories.json, compared with the expected outcome
// checked in beside it as tests/data/<document>.expected.
//
// After a deliberate change of behaviour, regenerate with
//   KORRIN_UPDATE_EXPECTED=1 build/dev/tests/test_document_golden
// and review every changed line against the rules before committing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/example_files.h"
#include "support/example_outcomes.h"
#include "support/json_tree.h"

namespace {

using korrin_test::JsonTree;

const std::string kExamples = KORRIN_EXAMPLES_DIR;
const std::string kData = KORRIN_TEST_DATA_DIR;

class ExampleDocumentTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ExampleDocumentTest, OutcomeForEveryExampleAccessoryMatchesTheExpectedFile) {
  const std::string document = korrin_test::read_example_document(GetParam() + ".json");
  ASSERT_FALSE(document.empty());
  ASSERT_EQ(korrin_test::load_example_accessories().size(), 7u);

  const std::string actual = korrin_test::example_outcomes(document);
  const std::string expected_path = kData + "/" + GetParam() + ".expected";
  if (std::getenv("KORRIN_UPDATE_EXPECTED") != nullptr) {
    std::ofstream(expected_path, std::ios::binary) << actual;
    GTEST_SKIP() << "rewrote " << expected_path << ": review it before committing";
  }
  EXPECT_EQ(actual, korrin_test::read_file(expected_path));
}

INSTANTIATE_TEST_SUITE_P(Documents, ExampleDocumentTest,
                         ::testing::ValuesIn(korrin_test::example_document_names()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           return info.param;
                         });

TEST(ExampleDocumentsTest, EveryExampleDocumentHasAnExpectedOutcome) {
  std::set<std::string> on_disk;
  for (const auto& file : std::filesystem::directory_iterator(kExamples + "/documents")) {
    if (file.path().extension() == ".json") {
      on_disk.insert(file.path().stem().string());
    }
  }
  const auto& names = korrin_test::example_document_names();
  EXPECT_EQ(on_disk, std::set<std::string>(names.begin(), names.end()));
  for (const auto& name : names) {
    EXPECT_TRUE(std::filesystem::exists(kData + "/" + name + ".expected")) << name;
  }
}

TEST(ExampleDocumentsTest, FleetDocumentCoversWhatItIsMeantToShow) {
  JsonTree fleet =
      korrin_test::parse_json(korrin_test::read_example_document("headset_fleet.json"));
  ASSERT_TRUE(fleet);
  const cJSON* tmpl = cJSON_GetObjectItem(fleet.get(), "templateConfiguration");
  const cJSON* common = cJSON_GetObjectItem(tmpl, "commonSettings");
  std::set<std::string> accesses;
  std::set<int> ids;
  int string_ids = 0;
  int follow_user_pairs = 0;
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, common) {
    accesses.insert(cJSON_GetObjectItem(entry, "access")->valuestring);
    const cJSON* id = cJSON_GetObjectItem(entry, "usageId");
    if (cJSON_IsString(id)) {
      ++string_ids;
    }
    ids.insert(cJSON_IsString(id) ? std::atoi(id->valuestring) : id->valueint);
    const cJSON* value = cJSON_GetObjectItem(entry, "value");
    const std::string name = cJSON_GetObjectItem(entry, "name")->valuestring;
    if (string_ends_with(name, "_Admin") &&
        ((cJSON_IsNumber(value) && value->valueint == 255) ||
         (cJSON_IsString(value) && std::string(value->valuestring) == "255"))) {
      ++follow_user_pairs;
    }
  }
  EXPECT_GE(ids.size(), 40u);
  EXPECT_GE(string_ids, 5);
  EXPECT_GE(follow_user_pairs, 3);
  for (const char* access :
       {"Admin", "admin", "ADMIN", "User", "user", "Owner", "Both", "BOTH", "both"}) {
    EXPECT_EQ(accesses.count(access), 1u) << access;
  }
  EXPECT_GE(cJSON_GetArraySize(cJSON_GetObjectItem(tmpl, "modelSpecificSettings")), 4);
}

}  // namespace

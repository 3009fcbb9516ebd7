// The planning library on its own, as a front end without files or a
// terminal uses it (a web page, for instance): texts in, the plan out. This
// executable links korrin_plan alone, so it also shows that the library
// needs nothing of the program (no libcurl, no CLI11, no file reading).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "korrin_plan/format.h"
#include "korrin_plan/plan.h"

namespace {

std::string source_file(const std::string& path) {
  std::ifstream in(std::string(KORRIN_SOURCE_DIR) + "/" + path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

korrin_plan::PlanRequest office_for_h9() {
  korrin_plan::PlanRequest request;
  request.document_name = "examples/documents/office.json";
  request.document = source_file(request.document_name);
  const std::string accessory = "tests/data/plan/accessories/hs-h9-03.json";
  request.accessories.push_back({accessory, source_file(accessory)});
  return request;
}

TEST(PlanLibrary, GivesTheProgramsJsonForTheSameTexts) {
  korrin_plan::PlanRequest request = office_for_h9();
  request.previous_time = "x-1700000000";
  const korrin_plan::PlanReport report = korrin_plan::plan_document(request);
  EXPECT_EQ(korrin_plan::format_plan_json(report),
            source_file("tests/data/plan/previous_time_other.json"));
}

TEST(PlanLibrary, GivesThePlanAsData) {
  const korrin_plan::PlanReport report = korrin_plan::plan_document(office_for_h9());
  ASSERT_EQ(report.accessories.size(), 1U);
  const korrin_plan::AccessoryPlan& plan = report.accessories[0];
  EXPECT_EQ(plan.facts.id, "hs-h9-03");
  EXPECT_EQ(plan.resolved_model, "Zelor H-9");
  EXPECT_EQ(plan.outcome, korrin_plan::DocumentOutcome::kTaken);
  EXPECT_EQ(plan.template_time, 1730000000);
  EXPECT_EQ(plan.firmware.action, korrin_plan::FirmwarePlan::kUpgrade);
  EXPECT_EQ(plan.firmware.version, "5-1-0");
  EXPECT_EQ(plan.firmware.name, "zelor-h9-5-1-0.bin");
  std::string settings;
  for (const korrin_plan::PlannedSetting& setting : plan.settings) {
    settings += std::to_string(setting.usage_id) + " " + setting.key + "=" +
                (setting.sent ? setting.value : "(user)") + "\n";
  }
  EXPECT_EQ(settings,
            "5 statusLed=on\n12 sidetone=(user)\n20 noiseCancelling=high\n"
            "21 busylight=1\n");
  EXPECT_EQ(report.exit_status, 0);
  EXPECT_FALSE(plan.changes.has_value());
}

TEST(PlanLibrary, ComparesWithAPreviousDocumentGivenAsText) {
  korrin_plan::PlanRequest request = office_for_h9();
  request.previous_document_name = "earlier.json";
  request.previous_document = source_file("tests/data/plan/documents/unreadable_version.json");
  const korrin_plan::PlanReport report = korrin_plan::plan_document(request);
  EXPECT_EQ(report.previous_document, std::optional<std::string>("earlier.json"));
  ASSERT_TRUE(report.accessories.at(0).changes.has_value());
  std::string lines;
  for (const korrin_plan::SettingChange& change : report.accessories[0].changes->settings) {
    lines += std::string(korrin_plan::change_mark(change.kind)) + " " +
             std::to_string(change.usage_id) + " " + change.key + "\n";
  }
  EXPECT_EQ(lines,
            "+ 5 statusLed\n+ 12 sidetone\n+ 21 busylight\n- 101 ringerVolume\n"
            "- 105 answerTone\n");
  EXPECT_TRUE(report.accessories[0].changes->firmware_changed);
}

TEST(PlanLibrary, MalformedAccessoriesThrowInputError) {
  korrin_plan::PlanRequest request = office_for_h9();
  request.accessories = {{"web form", "{\"id\": \"x\", \"type\": \"speaker\"}"}};
  try {
    korrin_plan::plan_document(request);
    FAIL() << "no InputError";
  } catch (const korrin_plan::InputError& error) {
    EXPECT_STREQ(error.what(), "web form: \"type\" must be \"headset\", \"camera\" or an integer");
  }
  request.accessories.clear();
  try {
    korrin_plan::plan_document(request);
    FAIL() << "no InputError";
  } catch (const korrin_plan::InputError& error) {
    EXPECT_STREQ(error.what(), "no accessories to plan for");
  }
}

}  // namespace

// What changes for one accessory from a previous document's plan to this
// one's (`plan --previous`), and when text output is coloured.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin_plan/plan.h"
#include "plan.h"

namespace {

using korrin_plan::AccessoryChanges;
using korrin_plan::AccessoryPlan;
using korrin_plan::FirmwarePlan;
using korrin_plan::PlannedSetting;
using korrin_plan::SettingChange;

PlannedSetting sent(int usage_id, const std::string& key, const std::string& value) {
  PlannedSetting setting;
  setting.usage_id = usage_id;
  setting.key = key;
  setting.sent = true;
  setting.value = value;
  return setting;
}

// A dual setting left to the user: announced, never sent.
PlannedSetting follows_user(int usage_id, const std::string& key) {
  PlannedSetting setting;
  setting.usage_id = usage_id;
  setting.key = key;
  setting.dual = true;
  setting.follow_user = true;
  return setting;
}

AccessoryPlan plan_with(std::vector<PlannedSetting> settings, FirmwarePlan firmware = {}) {
  AccessoryPlan plan;
  plan.settings = std::move(settings);
  plan.firmware = firmware;
  return plan;
}

FirmwarePlan upgrade(const std::string& version, const std::string& name) {
  FirmwarePlan firmware;
  firmware.action = FirmwarePlan::kUpgrade;
  firmware.version = version;
  firmware.name = name;
  return firmware;
}

// "~ 5 led → light: on → (follows the user)" and the like, one per change.
std::vector<std::string> lines_of(const AccessoryChanges& changes) {
  std::vector<std::string> lines;
  const auto value = [](const std::string& text, bool user) {
    return user ? std::string("(follows the user)") : text;
  };
  for (const SettingChange& change : changes.settings) {
    std::string line = std::string(korrin_plan::change_mark(change.kind)) + " " +
                       std::to_string(change.usage_id) + " ";
    if (change.kind == SettingChange::kChanged) {
      line += change.previous_key + " -> " + change.key + ": " +
              value(change.previous_value, change.previous_follows_user) + " -> " +
              value(change.value, change.follows_user);
    } else if (change.kind == SettingChange::kAdded) {
      line += change.key + ": " + value(change.value, change.follows_user);
    } else {
      line += change.key + ": " + value(change.previous_value, change.previous_follows_user);
    }
    lines.push_back(line);
  }
  return lines;
}

TEST(HostPlanDiff, SamePlansHaveNoChanges) {
  const AccessoryPlan plan =
      plan_with({sent(5, "led", "on"), follows_user(12, "sidetone")}, upgrade("5-1-0", "h9.bin"));
  const AccessoryChanges changes = korrin_plan::compare_plans(plan, plan);
  EXPECT_EQ(lines_of(changes), std::vector<std::string>());
  EXPECT_FALSE(changes.firmware_changed);
}

TEST(HostPlanDiff, AddedChangedAndRemovedByUsageId) {
  const AccessoryPlan before =
      plan_with({sent(3, "ring", "2"), sent(5, "led", "on"), sent(7, "mute", "1"),
                 follows_user(12, "sidetone"), sent(20, "anc", "high")});
  const AccessoryPlan after =
      plan_with({sent(1, "tone", "4"), sent(5, "led", "off"), sent(7, "muting", "1"),
                 sent(12, "sidetone", "3"), sent(20, "anc", "high"), follows_user(30, "eq")});
  const std::vector<std::string> expected = {
      "+ 1 tone: 4",
      "- 3 ring: 2",
      "~ 5 led -> led: on -> off",
      "~ 7 mute -> muting: 1 -> 1",
      "~ 12 sidetone -> sidetone: (follows the user) -> 3",
      "+ 30 eq: (follows the user)",
  };
  EXPECT_EQ(lines_of(korrin_plan::compare_plans(before, after)), expected);
}

TEST(HostPlanDiff, ARejectedPreviousDocumentMakesEverythingNew) {
  const AccessoryPlan after = plan_with({sent(5, "led", "on"), follows_user(12, "sidetone")});
  const std::vector<std::string> expected = {"+ 5 led: on", "+ 12 sidetone: (follows the user)"};
  EXPECT_EQ(lines_of(korrin_plan::compare_plans(plan_with({}), after)), expected);
  const std::vector<std::string> gone = {"- 5 led: on", "- 12 sidetone: (follows the user)"};
  EXPECT_EQ(lines_of(korrin_plan::compare_plans(after, plan_with({}))), gone);
}

TEST(HostPlanDiff, FirmwareDecisionsCompareWhole) {
  FirmwarePlan stay;
  stay.action = FirmwarePlan::kStay;
  FirmwarePlan decided_empty;
  decided_empty.decided = true;
  struct Case {
    FirmwarePlan before;
    FirmwarePlan after;
    bool changed;
  };
  const std::vector<Case> cases = {
      {upgrade("5-1-0", "a.bin"), upgrade("5-1-0", "a.bin"), false},
      {upgrade("5-1-0", "a.bin"), upgrade("5-1-0", "b.bin"), true},
      {upgrade("5-1-0", "a.bin"), upgrade("5-2-0", "a.bin"), true},
      {upgrade("5-1-0", "a.bin"), stay, true},
      {FirmwarePlan(), decided_empty, true},
      {stay, stay, false},
  };
  for (const Case& test : cases) {
    const AccessoryChanges changes =
        korrin_plan::compare_plans(plan_with({}, test.before), plan_with({}, test.after));
    EXPECT_EQ(changes.firmware_changed, test.changed)
        << korrin_plan::describe_firmware(test.before) << " / "
        << korrin_plan::describe_firmware(test.after);
    EXPECT_EQ(korrin_plan::describe_firmware(changes.previous_firmware),
              korrin_plan::describe_firmware(test.before));
  }
}

TEST(HostPlanColour, AlwaysNeverAndAutoOnATerminalWithoutNoColor) {
  struct Case {
    std::string option;
    bool terminal;
    const char* no_color;
    bool colour;
  };
  const std::vector<Case> cases = {
      {"always", false, nullptr, true}, {"always", true, "1", true},
      {"never", true, nullptr, false},  {"never", false, nullptr, false},
      {"auto", true, nullptr, true},    {"auto", true, "", true},
      {"auto", true, "1", false},       {"auto", true, "0", false},
      {"auto", false, nullptr, false},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(korrin_host::plan_colour(test.option, test.terminal, test.no_color), test.colour)
        << test.option << " terminal=" << test.terminal
        << " NO_COLOR=" << (test.no_color == nullptr ? "(unset)" : test.no_color);
  }
}

}  // namespace

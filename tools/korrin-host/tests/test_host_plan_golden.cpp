// `korrin-host plan` as an administrator runs it: the exact standard output
// (text and JSON) for the example documents and for malformed ones, checked
// in as tests/data/plan/<case>.txt or .json, and the exact exit status and
// standard error of every case, bad usage included.
//
// Paths are given relative to the source tree, as the output shows them.
// After a deliberate change, regenerate the output files with
//   KORRIN_UPDATE_EXPECTED=1 build/dev/tools/korrin-host/tests/test_host_plan_golden
// and review every changed line before committing.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "host_support/run_main.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace {

const std::string kPlanData = "tests/data/plan/";
const std::string kAccessories = "tests/data/plan/accessories/";
const std::string kDocuments = "tests/data/plan/documents/";
const std::string kFleet = "examples/accessories.json";

struct PlanCase {
  std::string name;  ///< the output file is tests/data/plan/<name>, "" when nothing is printed
  std::vector<std::string> arguments;
  int exit_status = 0;
  std::string err;
};

std::string example(const std::string& name) { return "examples/documents/" + name + ".json"; }

std::string not_taken(const std::string& list, int count, int of) {
  return "korrin-host plan: the document was not taken for " + std::to_string(count) + " of " +
         std::to_string(of) + " accessories: " + list +
         " (--log-level info shows the library's records)\n";
}

// The standard error of a fleet whose listed accessories rejected the document.
std::string fleet_rejected(const std::vector<std::string>& ids) {
  std::string list;
  for (const std::string& id : ids) {
    list += (list.empty() ? "" : ", ") + id + " (rejected)";
  }
  return ids.empty() ? std::string() : not_taken(list, static_cast<int>(ids.size()), 7);
}

std::string previous_unreadable(const std::string& path) {
  return "korrin-host plan: the previous document " + path +
         " cannot be read as JSON by the library, so every accessory rejected it: the changes "
         "show every setting of this document as added\n";
}

std::vector<PlanCase> cases() {
  std::vector<PlanCase> list;
  // Every example document for every example accessory, in both forms. The
  // accessories that reject each document are those of its reviewed
  // outcome in tests/data/<document>.expected.
  const std::vector<std::string> every = {"hs-desk-01",     "hs-pro-02",   "hs-h9-03",  "hs-h8-04",
                                          "hs-wireless-05", "cam-room-06", "hs-acme-07"};
  const std::vector<std::pair<std::string, std::vector<std::string>>> examples = {
      {"headset_fleet", {"cam-room-06", "hs-acme-07"}},
      {"camera_room",
       {"hs-desk-01", "hs-pro-02", "hs-h9-03", "hs-h8-04", "hs-wireless-05", "hs-acme-07"}},
      {"latest_driver", {"hs-acme-07"}},
      {"wrapped_in_array", {"hs-wireless-05", "cam-room-06", "hs-acme-07"}},
      {"office", {}},
      {"template_not_first", every},
      {"template_missing", every},
      {"wrong_member_types", {"hs-h8-04", "hs-wireless-05", "cam-room-06", "hs-acme-07"}},
      {"truncated", every},
  };
  for (const auto& document : examples) {
    for (const std::string format : {"text", "json"}) {
      list.push_back(
          {"fleet_" + document.first + (format == "text" ? ".txt" : ".json"),
           {"plan", "--document", example(document.first), "--fleet", kFleet, "--format", format},
           document.second.empty() ? 0 : 1,
           fleet_rejected(document.second)});
    }
  }
  // Malformed documents for one headset, in both forms.
  const std::vector<std::pair<std::string, bool>> malformed = {
      {"empty", false},
      {"not_json", false},
      {"template_not_object", false},
      {"no_model_firmware", false},
      {"missing_firmware_name", false},
      {"unreadable_version", true},
  };
  for (const auto& document : malformed) {
    for (const std::string format : {"text", "json"}) {
      list.push_back({"h9_" + document.first + (format == "text" ? ".txt" : ".json"),
                      {"plan", "--document", kDocuments + document.first + ".json", "--accessory",
                       kAccessories + "hs-h9-03.json", "--format", format},
                      document.second ? 0 : 1,
                      document.second ? "" : not_taken("hs-h9-03 (rejected)", 1, 1)});
    }
  }
  // The configure-required question.
  list.push_back({"previous_time_same.txt",
                  {"plan", "--document", example("office"), "--accessory",
                   kAccessories + "hs-h9-03.json", "--previous-time", "x-1730000000"},
                  0,
                  ""});
  list.push_back(
      {"previous_time_other.json",
       {"plan", "--document", example("office"), "--accessory", kAccessories + "hs-h9-03.json",
        "--previous-time", "x-1700000000", "--format", "json"},
       0,
       ""});
  list.push_back(
      {"previous_time_malformed.txt",
       {"plan", "--document", example("office"), "--accessory", kAccessories + "hs-h9-03.json",
        "--accessory", kAccessories + "cam-room-06.json", "--previous-time", "1730000000"},
       0,
       ""});
  list.push_back({"previous_time_empty.txt",
                  {"plan", "--document", example("camera_room"), "--accessory",
                   kAccessories + "cam-room-06.json", "--previous-time", ""},
                  0,
                  ""});
  list.push_back({"previous_time_rejected.txt",
                  {"plan", "--document", kDocuments + "no_model_firmware.json", "--accessory",
                   kAccessories + "hs-h9-03.json", "--previous-time", "x-1720000000"},
                  1,
                  not_taken("hs-h9-03 (rejected)", 1, 1)});
  // A host without a URL template: the fleet document's dual entry without
  // "_" becomes a user setting instead of being dropped.
  list.push_back({"no_url_template.txt",
                  {"plan", "--document", example("headset_fleet"), "--accessory",
                   kAccessories + "hs-h8-04.json", "--no-url-template"},
                  0,
                  ""});
  list.push_back({"url_template.txt",
                  {"plan", "--document", example("headset_fleet"), "--accessory",
                   kAccessories + "hs-h8-04.json"},
                  0,
                  ""});
  // An accessory the library has no configuration object for.
  list.push_back({"unknown_type.txt",
                  {"plan", "--document", example("office"), "--accessory",
                   kAccessories + "hs-h9-03.json", "--accessory", kAccessories + "speaker.json"},
                  1,
                  not_taken("spk-08 (not configured)", 1, 2)});
  // A document without model groups: the finding's effect is for the
  // accessories the library configures, then for none.
  list.push_back({"unknown_type_no_groups.txt",
                  {"plan", "--document", kDocuments + "no_model_groups.json", "--accessory",
                   kAccessories + "hs-h9-03.json", "--accessory", kAccessories + "speaker.json"},
                  1,
                  not_taken("hs-h9-03 (rejected), spk-08 (not configured)", 2, 2)});
  list.push_back({"unknown_type_no_groups_only.txt",
                  {"plan", "--document", kDocuments + "no_model_groups.json", "--accessory",
                   kAccessories + "speaker.json", "--summary"},
                  1,
                  not_taken("spk-08 (not configured)", 1, 1)});
  list.push_back({"unknown_type.json",
                  {"plan", "--document", example("office"), "--accessory",
                   kAccessories + "speaker.json", "--format", "json", "--previous-time", "x-1"},
                  1,
                  not_taken("spk-08 (not configured)", 1, 1)});
  // An accessories file given with --accessory: every accessory, no summary.
  list.push_back({"accessory_list.txt",
                  {"plan", "--document", example("latest_driver"), "--accessory", kFleet},
                  1,
                  fleet_rejected({"hs-acme-07"})});

  // What changes from one document to the next, per accessory.
  for (const std::string format : {"text", "json"}) {
    list.push_back({std::string("previous_headset_fleet") + (format == "text" ? ".txt" : ".json"),
                    {"plan", "--document", example("office"), "--previous",
                     example("headset_fleet"), "--accessory", kAccessories + "hs-h9-03.json",
                     "--accessory", kAccessories + "hs-h8-04.json", "--accessory",
                     kAccessories + "cam-room-06.json", "--format", format},
                    0,
                    ""});
  }
  // A previous document that every accessory rejected: everything is new.
  list.push_back({"previous_rejected.txt",
                  {"plan", "--document", example("office"), "--previous",
                   kDocuments + "not_json.json", "--accessory", kAccessories + "hs-h9-03.json"},
                  0,
                  previous_unreadable("tests/data/plan/documents/not_json.json")});
  // A binary file as the previous document: said on standard error, in the
  // output and in the JSON.
  list.push_back(
      {"previous_binary.json",
       {"plan", "--document", example("office"), "--previous", kDocuments + "binary.json",
        "--accessory", kAccessories + "hs-h9-03.json", "--format", "json"},
       0,
       previous_unreadable("tests/data/plan/documents/binary.json")});
  list.push_back(
      {"previous_binary.txt",
       {"plan", "--document", example("office"), "--previous", kDocuments + "binary.json",
        "--accessory", kAccessories + "hs-h9-03.json", "--summary"},
       0,
       previous_unreadable("tests/data/plan/documents/binary.json")});
  // Colour: forced on, forced off; the output of the tests is no terminal,
  // so "auto" is off.
  const std::vector<std::string> coloured = {"plan",
                                             "--document",
                                             kDocuments + "unreadable_version.json",
                                             "--previous",
                                             example("office"),
                                             "--accessory",
                                             kAccessories + "hs-h9-03.json",
                                             "--accessory",
                                             kAccessories + "speaker.json"};
  for (const std::string colour : {"always", "never", "auto"}) {
    std::vector<std::string> arguments = coloured;
    arguments.push_back("--color=" + colour);
    list.push_back(
        {"color_" + colour + ".txt", arguments, 1, not_taken("spk-08 (not configured)", 1, 2)});
  }
  // Findings and the summary line only.
  list.push_back(
      {"summary_only.txt",
       {"plan", "--document", example("wrong_member_types"), "--fleet", kFleet, "--summary"},
       1,
       fleet_rejected({"hs-h8-04", "hs-wireless-05", "cam-room-06", "hs-acme-07"})});
  // Every text from the document and the accessory is escaped.
  list.push_back({"control_characters.txt",
                  {"plan", "--document", kDocuments + "control_characters.json", "--accessory",
                   kAccessories + "control_characters.json"},
                  0,
                  ""});
  // A Latin-1 byte in the document: the JSON output stays valid UTF-8.
  for (const std::string format : {"text", "json"}) {
    list.push_back({std::string("latin1") + (format == "text" ? ".txt" : ".json"),
                    {"plan", "--document", kDocuments + "latin1.json", "--accessory",
                     kAccessories + "hs-h9-03.json", "--format", format},
                    0,
                    ""});
  }
  // The ids on standard error are escaped too.
  list.push_back({"control_characters_rejected.txt",
                  {"plan", "--document", kDocuments + "not_json.json", "--accessory",
                   kAccessories + "control_characters.json", "--summary"},
                  1,
                  not_taken("hs-\\x1b[2J-09 (rejected)", 1, 1)});
  // --strict: findings of severity warning or error fail a document that
  // every accessory took; a document not taken keeps status 1.
  list.push_back({"strict_findings.txt",
                  {"plan", "--document", kDocuments + "unreadable_version.json", "--accessory",
                   kAccessories + "hs-h9-03.json", "--strict", "--summary"},
                  5,
                  "korrin-host plan: --strict: 3 findings of severity warning or error\n"});
  list.push_back({"strict_clean.txt",
                  {"plan", "--document", example("office"), "--accessory",
                   kAccessories + "hs-h9-03.json", "--strict", "--summary"},
                  0,
                  ""});
  list.push_back({"strict_rejected.json",
                  {"plan", "--document", kDocuments + "not_json.json", "--accessory",
                   kAccessories + "hs-h9-03.json", "--strict", "--format", "json"},
                  1,
                  not_taken("hs-h9-03 (rejected)", 1, 1) +
                      "korrin-host plan: --strict: 1 finding of severity warning or error\n"});

  // Bad usage and unreadable input: nothing on standard output.
  const std::string help = "Run with --help for more information.\n";
  const auto bad = [&list](std::vector<std::string> arguments, const std::string& err) {
    arguments.insert(arguments.begin(), "plan");
    list.push_back({"", arguments, 2, err});
  };
  bad({"--document", example("office")},
      "korrin-host plan: name the accessories with --accessory FILE (repeatable) or --fleet "
      "FILE\n");
  bad({"--fleet", kFleet}, "--document is required\n" + help);
  bad({"--document", "examples/documents/missing.json", "--fleet", kFleet},
      "korrin-host plan: cannot read examples/documents/missing.json: No such file or "
      "directory\n");
  bad({"--document", "examples/documents", "--fleet", kFleet},
      "korrin-host plan: cannot read examples/documents: Is a directory\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "missing.json"},
      "korrin-host plan: cannot read tests/data/plan/accessories/missing.json: No such file or "
      "directory\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "not_json.json"},
      "korrin-host plan: tests/data/plan/accessories/not_json.json:3:1: invalid JSON (reached "
      "the end of the file)\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "unknown_member.json"},
      "korrin-host plan: tests/data/plan/accessories/unknown_member.json: \"modle\" is not a "
      "known member\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "bad_type.json"},
      "korrin-host plan: tests/data/plan/accessories/bad_type.json: \"type\" must be "
      "\"headset\", \"camera\" or an integer\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "scalar.json"},
      "korrin-host plan: tests/data/plan/accessories/scalar.json: expected a JSON object (one "
      "accessory) or an array of them\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "empty_list.json"},
      "korrin-host plan: tests/data/plan/accessories/empty_list.json: the list holds no "
      "accessories\n");
  bad({"--document", example("office"), "--fleet", kAccessories + "empty_list.json"},
      "korrin-host plan: tests/data/plan/accessories/empty_list.json: the list holds no "
      "accessories\n");
  bad({"--document", example("office"), "--fleet", kAccessories + "hs-h9-03.json"},
      "korrin-host plan: tests/data/plan/accessories/hs-h9-03.json: expected a JSON array of "
      "accessories\n");
  bad({"--document", example("office"), "--accessory", kAccessories + "hs-h9-03.json",
       "--accessory", kAccessories + "duplicate_h9.json"},
      "korrin-host plan: tests/data/plan/accessories/duplicate_h9.json: accessory \"hs-h9-03\" "
      "is given twice\n");
  bad({"--document", example("office"), "--fleet", kFleet, "--accessory",
       kAccessories + "hs-h9-03.json"},
      "--accessory excludes --fleet\n" + help);
  bad({"--document", example("office"), "--fleet", kFleet, "--format", "yaml"},
      "--format: yaml not in {text,json}\n" + help);
  bad({"--document", example("office"), "--accessory", kAccessories + "control_characters.json",
       "--accessory", kAccessories + "control_characters.json"},
      "korrin-host plan: tests/data/plan/accessories/control_characters.json: accessory "
      "\"hs-\\x1b[2J-09\" is given twice\n");
  bad({"--document", example("office"), "--fleet", kFleet, "--color", "sometimes"},
      "--color: sometimes not in {auto,always,never}\n" + help);
  bad({"--document", example("office"), "--fleet", kFleet, "--previous",
       "examples/documents/missing.json"},
      "korrin-host plan: cannot read examples/documents/missing.json: No such file or "
      "directory\n");
  bad({"--document", example("office"), "--fleet", kFleet, "--log-level", "loud"},
      "korrin-host plan: --log-level: unknown level 'loud' (critical, error, warning, notice, "
      "info, debug)\n");
  return list;
}

// True when every byte of `text` belongs to a well-formed UTF-8 sequence.
bool valid_utf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const std::size_t length = lead < 0x80                      ? 1
                               : (lead >= 0xC2 && lead <= 0xDF) ? 2
                               : (lead >= 0xE0 && lead <= 0xEF) ? 3
                               : (lead >= 0xF0 && lead <= 0xF4) ? 4
                                                                : 0;
    if (length == 0 || i + length > text.size()) {
      return false;
    }
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) {
        return false;
      }
    }
    i += length;
  }
  return true;
}

// Names the case in gtest's messages instead of dumping its bytes.
void PrintTo(const PlanCase& test, std::ostream* out) {
  *out << (test.name.empty() ? std::string("(no output)") : test.name) << ":";
  for (const std::string& argument : test.arguments) {
    *out << " '" << argument << "'";
  }
}

class PlanOutput : public ::testing::TestWithParam<PlanCase> {
 protected:
  // Paths in the output are relative to the source tree.
  void SetUp() override { ASSERT_EQ(chdir(KORRIN_SOURCE_DIR), 0); }
};

TEST_P(PlanOutput, IsExactlyTheReviewedOne) {
  const PlanCase& test = GetParam();
  const korrin_host_test::MainResult outcome = korrin_host_test::run_main(test.arguments);
  EXPECT_EQ(outcome.status, test.exit_status);
  EXPECT_EQ(outcome.err, test.err);
  if (test.name.empty()) {
    EXPECT_EQ(outcome.out, "");
    return;
  }
  const std::string path = kPlanData + test.name;
  if (std::getenv("KORRIN_UPDATE_EXPECTED") != nullptr) {
    std::ofstream(path, std::ios::binary) << outcome.out;
    GTEST_SKIP() << "rewrote " << path << ": review it before committing";
  }
  EXPECT_EQ(outcome.out, korrin_host::read_text_file(path));
}

std::string case_name(const ::testing::TestParamInfo<PlanCase>& info) {
  std::string name =
      info.param.name.empty() ? "bad_usage_" + std::to_string(info.index) : info.param.name;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) {
      c = '_';
    }
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, PlanOutput, ::testing::ValuesIn(cases()), case_name);

TEST(PlanOutputFiles, EveryCheckedInOutputBelongsToACase) {
  ASSERT_EQ(chdir(KORRIN_SOURCE_DIR), 0);
  std::set<std::string> used;
  for (const PlanCase& test : cases()) {
    if (!test.name.empty()) {
      EXPECT_TRUE(used.insert(test.name).second) << "two cases write " << test.name;
    }
  }
  std::set<std::string> on_disk;
  for (const auto& entry : std::filesystem::directory_iterator(kPlanData)) {
    if (entry.is_regular_file()) {
      on_disk.insert(entry.path().filename().string());
    }
  }
  EXPECT_EQ(on_disk, used);
}

TEST(PlanOutputFiles, JsonOutputsParse) {
  ASSERT_EQ(chdir(KORRIN_SOURCE_DIR), 0);
  for (const PlanCase& test : cases()) {
    if (test.name.size() > 5 && test.name.substr(test.name.size() - 5) == ".json") {
      const std::string text = korrin_host::read_text_file(kPlanData + test.name);
      EXPECT_NO_THROW(korrin_host::JsonDocument(text, test.name)) << test.name;
      EXPECT_TRUE(valid_utf8(text)) << test.name;
    }
  }
}

}  // namespace

// korrin-host plan as a program: run from the source tree, its standard
// output is the reviewed output of tests/data/plan/, its exit status says
// whether every accessory took the document, and --log-level shows the
// library's own records on standard error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e/e2e_support.h"

namespace {

using korrin_host_test::contains;
using korrin_host_test::ProcessResult;

// Runs `korrin-host ARGUMENTS` in the source tree, so that relative paths
// appear in the output as in the checked-in files.
ProcessResult run_in_source_tree(const std::vector<std::string>& arguments) {
  std::string command = "cd '" KORRIN_SOURCE_DIR "' && exec '" KORRIN_HOST_BINARY "'";
  for (const std::string& argument : arguments) {
    command += " '" + argument + "'";
  }
  return korrin_host_test::run_process({"/bin/sh", "-c", command}, std::chrono::seconds(60));
}

std::string reviewed(const std::string& name) {
  return korrin_host::read_text_file(KORRIN_SOURCE_DIR "/tests/data/plan/" + name);
}

TEST(E2ePlan, AFleetThatTakesTheDocumentPrintsThePlanAndExitsZero) {
  const ProcessResult result =
      run_in_source_tree({"plan", "--document", "examples/documents/office.json", "--fleet",
                          "examples/accessories.json"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.out, reviewed("fleet_office.txt"));
  EXPECT_EQ(result.err, "");
}

TEST(E2ePlan, ARejectedDocumentPrintsThePlanAndExitsOne) {
  const ProcessResult result = run_in_source_tree(
      {"plan", "--document", "tests/data/plan/documents/no_model_firmware.json", "--accessory",
       "tests/data/plan/accessories/hs-h9-03.json", "--format", "json"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, reviewed("h9_no_model_firmware.json"));
  EXPECT_EQ(result.err,
            "korrin-host plan: the document was not taken for 1 of 1 accessories: hs-h9-03 "
            "(rejected) (--log-level info shows the library's records)\n");
}

TEST(E2ePlan, BadUsageExitsTwoWithoutOutput) {
  const ProcessResult result =
      run_in_source_tree({"plan", "--document", "examples/documents/office.json"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "korrin-host plan: name the accessories with --accessory FILE (repeatable) or --fleet "
            "FILE\n");
}

TEST(E2ePlan, AnUnreadableDocumentExitsTwo) {
  const ProcessResult result = run_in_source_tree(
      {"plan", "--document", "/nonexistent/doc.json", "--fleet", "examples/accessories.json"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "korrin-host plan: cannot read /nonexistent/doc.json: No such file or directory\n");
}

TEST(E2ePlan, LogLevelCopiesTheLibrarysRecordsToStandardErrorWithoutChangingThePlan) {
  const ProcessResult result = run_in_source_tree(
      {"plan", "--document", "tests/data/plan/documents/not_json.json", "--accessory",
       "tests/data/plan/accessories/hs-h9-03.json", "--log-level", "info"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, reviewed("h9_not_json.txt"));
  // The parse error, which is not a warning, is there for whoever asks.
  EXPECT_TRUE(
      contains(result.err,
               " info     HeadsetConfigImpl: update_from_server: Configuration: headsets on "
               "5-1-0, please.\n"))
      << result.err;
  EXPECT_TRUE(
      contains(result.err,
               " error    Lib::ConfigManagerImpl: on_fetch_config_success: unable to update "
               "config retrieved from server in library\n"))
      << result.err;
  EXPECT_FALSE(contains(result.err, " debug    ")) << result.err;
}

}  // namespace

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
  // The parse error, which is not a warning, is there for whoever asks. It
  // quotes the document, whose line end is escaped like any control character.
  EXPECT_TRUE(
      contains(result.err,
               " info     HeadsetConfigImpl: update_from_server: Configuration: headsets on "
               "5-1-0, please.\\n\n"))
      << result.err;
  EXPECT_TRUE(
      contains(result.err,
               " error    Lib::ConfigManagerImpl: on_fetch_config_success: unable to update "
               "config retrieved from server in library\n"))
      << result.err;
  EXPECT_FALSE(contains(result.err, " debug    ")) << result.err;
}

// Colour on a real terminal: script(1) runs the program on a pseudo-terminal
// (standard output and standard error both reach it, with "\r\n" line ends).
std::string on_a_terminal(const std::string& environment, const std::vector<std::string>& args) {
  std::string program = "'" KORRIN_HOST_BINARY "'";
  for (const std::string& argument : args) {
    program += " '" + argument + "'";
  }
  const ProcessResult result =
      korrin_host_test::run_process({"/bin/sh", "-c",
                                     "cd '" KORRIN_SOURCE_DIR "' && " + environment +
                                         " script -qec \"" + program + "\" /dev/null < /dev/null"},
                                    std::chrono::seconds(60));
  EXPECT_EQ(result.exit_code, 1);
  std::string text;
  for (const char c : result.out) {
    if (c != '\r') {
      text += c;
    }
  }
  return text;
}

const std::vector<std::string> kColourCase = {"plan",
                                              "--document",
                                              "tests/data/plan/documents/unreadable_version.json",
                                              "--previous",
                                              "examples/documents/office.json",
                                              "--accessory",
                                              "tests/data/plan/accessories/hs-h9-03.json",
                                              "--accessory",
                                              "tests/data/plan/accessories/speaker.json"};
const std::string kColourCaseErr =
    "korrin-host plan: the document was not taken for 1 of 2 accessories: spk-08 (not "
    "configured) (--log-level info shows the library's records)\n";

TEST(E2ePlan, ColoursOnATerminal) {
  EXPECT_EQ(on_a_terminal("unset NO_COLOR;", kColourCase),
            reviewed("color_always.txt") + kColourCaseErr);
}

TEST(E2ePlan, NoColorTurnsColourOffOnATerminal) {
  EXPECT_EQ(on_a_terminal("NO_COLOR=1", kColourCase), reviewed("color_never.txt") + kColourCaseErr);
}

TEST(E2ePlan, AnEmptyNoColorLeavesColourOn) {
  EXPECT_EQ(on_a_terminal("NO_COLOR=", kColourCase), reviewed("color_always.txt") + kColourCaseErr);
}

TEST(E2ePlan, ColorNeverTurnsColourOffOnATerminal) {
  std::vector<std::string> arguments = kColourCase;
  arguments.push_back("--color=never");
  EXPECT_EQ(on_a_terminal("unset NO_COLOR;", arguments),
            reviewed("color_never.txt") + kColourCaseErr);
}

TEST(E2ePlan, NoColourIntoAPipe) {
  const ProcessResult result = run_in_source_tree(kColourCase);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.out, reviewed("color_never.txt"));
  EXPECT_EQ(result.err, kColourCaseErr);
}

}  // namespace

// Reading JSON input files: errors that name the file, line and column.
#include <gtest/gtest.h>

#include <string>

#include "host_support/input_error.h"
#include "host_support/temp_dir.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace {

using korrin_host::JsonDocument;
using korrin_host::JsonObjectReader;

using korrin_host_test::input_error_of;

std::string error_of(const std::string& text, const std::string& origin = "in.json") {
  return input_error_of([&] { JsonDocument document(text, origin); });
}

std::string reader_error(const std::string& text, void (*use)(const JsonObjectReader&)) {
  JsonDocument document(text, "in.json");
  return input_error_of([&] {
    JsonObjectReader reader(document.root(), "in.json: thing");
    use(reader);
  });
}

TEST(HostJsonInput, LineAndColumnCountFromOne) {
  const std::string text = "ab\ncd\n\nx";
  EXPECT_EQ(korrin_host::line_and_column(text, 0), std::make_pair(1, 1));
  EXPECT_EQ(korrin_host::line_and_column(text, 1), std::make_pair(1, 2));
  EXPECT_EQ(korrin_host::line_and_column(text, 3), std::make_pair(2, 1));
  EXPECT_EQ(korrin_host::line_and_column(text, 7), std::make_pair(4, 1));
  EXPECT_EQ(korrin_host::line_and_column(text, 99), std::make_pair(4, 2));
}

TEST(HostJsonInput, BadJsonNamesTheFileLineColumnAndWhatFollows) {
  EXPECT_EQ(error_of("{\n  \"a\": 1,\n  \"b\" 2\n}\n"), "in.json:3:7: invalid JSON near '2'");
  EXPECT_EQ(error_of("[1, 2,, 3]", "list.json"), "list.json:1:7: invalid JSON near ', 3]'");
}

TEST(HostJsonInput, TruncatedAndEmptyFilesAreSaidSo) {
  EXPECT_EQ(error_of("{\"a\": [1, 2"), "in.json:1:12: invalid JSON (reached the end of the file)");
  EXPECT_EQ(error_of("  \n"), "in.json:2:1: invalid JSON (the file is empty)");
}

TEST(HostJsonInput, TrailingTextAfterTheValueIsRejected) {
  EXPECT_EQ(error_of("{} {}"), "in.json:1:4: invalid JSON near '{}'");
}

TEST(HostJsonInput, AMissingFileIsNamedWithTheReason) {
  EXPECT_EQ(input_error_of([] { korrin_host::read_text_file("/nonexistent/host.json"); }),
            "cannot read /nonexistent/host.json: No such file or directory");
}

TEST(HostJsonInput, ADirectoryIsRefusedInsteadOfReadAsEmpty) {
  korrin_host_test::TempDir dir;
  EXPECT_EQ(input_error_of([&] { korrin_host::read_text_file(dir.path()); }),
            "cannot read " + dir.path() + ": Is a directory");
}

TEST(HostJsonInput, FromFileReadsAndParses) {
  korrin_host_test::TempDir dir;
  const std::string path = dir.write("a.json", "{\"x\": \"y\"}");
  const JsonDocument document = korrin_host::read_json_file(path);
  EXPECT_EQ(document.origin(), path);
  EXPECT_EQ(JsonObjectReader(document.root(), "a").string("x"), "y");
}

TEST(HostJsonInput, ReaderGivesTypedMembersAndFallbacks) {
  JsonDocument document(
      "{\"s\": \"text\", \"b\": true, \"list\": [\"p\", \"q\"], \"nothing\": null}", "in.json");
  JsonObjectReader reader(document.root(), "in.json");
  EXPECT_EQ(reader.string("s"), "text");
  EXPECT_EQ(reader.string("absent", "fallback"), "fallback");
  EXPECT_EQ(reader.string("nothing", "fallback"), "fallback");
  EXPECT_TRUE(reader.boolean("b", false));
  EXPECT_FALSE(reader.boolean("absent", false));
  EXPECT_EQ(reader.string_array("list"), (std::vector<std::string>{"p", "q"}));
  EXPECT_TRUE(reader.string_array("absent").empty());
  EXPECT_TRUE(reader.has("s"));
  EXPECT_FALSE(reader.has("nothing"));
}

TEST(HostJsonInput, MemberLookupIsCaseSensitive) {
  JsonDocument document("{\"Model\": \"x\"}", "in.json");
  EXPECT_EQ(JsonObjectReader(document.root(), "in.json").string("model", "none"), "none");
}

TEST(HostJsonInput, WrongMemberTypesAreNamed) {
  EXPECT_EQ(reader_error("{\"s\": 3}", [](const JsonObjectReader& r) { r.string("s"); }),
            "in.json: thing: \"s\" must be a string");
  EXPECT_EQ(reader_error("{\"b\": 1}", [](const JsonObjectReader& r) { r.boolean("b", true); }),
            "in.json: thing: \"b\" must be true or false");
  EXPECT_EQ(
      reader_error("{\"l\": [\"a\", 2]}", [](const JsonObjectReader& r) { r.string_array("l"); }),
      "in.json: thing: \"l\" must be an array of strings");
  EXPECT_EQ(reader_error("{}", [](const JsonObjectReader& r) { r.required_string("id"); }),
            "in.json: thing: \"id\" is missing");
  EXPECT_EQ(
      reader_error("{\"id\": \"\"}", [](const JsonObjectReader& r) { r.required_string("id"); }),
      "in.json: thing: \"id\" must not be empty");
}

TEST(HostJsonInput, UnknownMembersAreRejected) {
  EXPECT_EQ(reader_error("{\"model\": \"x\", \"modle\": \"y\"}",
                         [](const JsonObjectReader& r) { r.reject_unknown({"model"}); }),
            "in.json: thing: \"modle\" is not a known member");
}

TEST(HostJsonInput, ANonObjectIsRejected) {
  JsonDocument document("[1]", "in.json");
  EXPECT_EQ(input_error_of([&] { JsonObjectReader reader(document.root(), "in.json"); }),
            "in.json: expected a JSON object");
}

}  // namespace

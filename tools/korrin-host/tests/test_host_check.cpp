// The document checker: golden findings per finding code (text and JSON,
// exactly), the findings of every example document, positions, pointers,
// suggestions and the escaping of control characters.
#include <cjson/cJSON.h>
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "korrin/string_utils.h"
#include "korrin_check/check.h"
#include "korrin_check/finding.h"
#include "korrin_host/accessory.h"
#include "korrin_host/input_files.h"

namespace {

using korrin_check::check_document;
using korrin_check::CheckedAccessory;
using korrin_check::Finding;

const std::string kData = std::string(KORRIN_SOURCE_DIR) + "/tests/data/check";

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

std::vector<std::string> files_in(const std::string& directory, const std::string& suffix,
                                  const std::string& excluded) {
  std::vector<std::string> names;
  DIR* dir = opendir(directory.c_str());
  if (dir == nullptr) {
    return names;
  }
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    const auto ends = [&](const std::string& tail) {
      return name.size() >= tail.size() &&
             name.compare(name.size() - tail.size(), tail.size(), tail) == 0;
    };
    if (ends(suffix) && (excluded.empty() || !ends(excluded))) {
      names.push_back(name);
    }
  }
  closedir(dir);
  std::sort(names.begin(), names.end());
  return names;
}

// The example accessories as the checker sees them.
std::vector<CheckedAccessory> example_accessories() {
  std::vector<CheckedAccessory> accessories;
  for (const auto& facts :
       korrin_host::load_accessories(std::string(KORRIN_EXAMPLES_DIR) + "/accessories.json")) {
    CheckedAccessory accessory;
    accessory.id = facts.id;
    accessory.type = facts.type;
    accessory.model = facts.model;
    accessory.resolved_model = get_headset_model(facts.model, facts.serial_number);
    accessory.serial_number = facts.serial_number;
    accessory.firmware_version = facts.firmware_version;
    accessory.dongle_model = facts.dongle_model;
    accessory.dongle_firmware_version = facts.dongle_firmware_version;
    accessories.push_back(accessory);
  }
  return accessories;
}

std::string as_text(const std::vector<Finding>& findings, const std::string& file_name) {
  std::string text;
  for (const Finding& finding : findings) {
    text += korrin_check::format_finding(finding, file_name, false) + "\n";
  }
  return text;
}

std::string as_json(const std::vector<Finding>& findings) {
  cJSON* array = korrin_check::findings_to_json(findings);
  char* printed = cJSON_Print(array);
  std::string text = std::string(printed) + "\n";
  free(printed);
  cJSON_Delete(array);
  return text;
}

// With KORRIN_UPDATE_GOLDEN set the expected files are rewritten (review the
// diff before committing them).
void expect_file(const std::string& path, const std::string& actual) {
  if (std::getenv("KORRIN_UPDATE_GOLDEN") != nullptr) {
    std::ofstream(path, std::ios::binary) << actual;
  }
  EXPECT_EQ(read_file(path), actual) << path;
}

TEST(CheckGolden, EachFindingCodeHasItsDocument) {
  const std::vector<std::string> documents = files_in(kData, ".json", ".expected.json");
  std::vector<std::string> codes;
  for (const std::string& name : documents) {
    codes.push_back(name.substr(0, 4));
  }
  ASSERT_EQ(korrin_check::finding_codes().size(), 24u);
  for (const korrin_check::FindingCode& row : korrin_check::finding_codes()) {
    EXPECT_NE(std::find(codes.begin(), codes.end(), row.code), codes.end()) << row.code;
  }
  // And every document is named after a code of the table.
  for (const std::string& code : codes) {
    EXPECT_TRUE(std::any_of(korrin_check::finding_codes().begin(),
                            korrin_check::finding_codes().end(),
                            [&](const korrin_check::FindingCode& row) { return row.code == code; }))
        << code;
  }
}

// The code table says which severities each code has; the golden documents
// (of the codes and of the examples) show every one of them and no other.
TEST(CheckCodes, TheTableHoldsExactlyTheSeveritiesOfTheGoldenFindings) {
  const std::vector<CheckedAccessory> accessories = example_accessories();
  std::vector<std::string> paths;
  for (const std::string& name : files_in(kData, ".json", ".expected.json")) {
    paths.push_back(kData + "/" + name);
  }
  const std::string examples = std::string(KORRIN_EXAMPLES_DIR) + "/documents";
  for (const std::string& name : files_in(examples, ".json", "")) {
    paths.push_back(examples + "/" + name);
  }
  std::set<std::string> emitted;
  for (const std::string& path : paths) {
    for (const Finding& finding : check_document(read_file(path), accessories)) {
      emitted.insert(finding.code + " " + korrin_check::severity_name(finding.severity));
    }
  }
  std::set<std::string> table;
  std::string previous;
  for (const korrin_check::FindingCode& row : korrin_check::finding_codes()) {
    EXPECT_LT(previous, row.code) << "the table is in code order";
    previous = row.code;
    EXPECT_FALSE(row.summary.empty()) << row.code;
    ASSERT_FALSE(row.severities.empty()) << row.code;
    for (std::size_t i = 1; i < row.severities.size(); ++i) {
      EXPECT_LT(row.severities[i - 1], row.severities[i]) << row.code << ": most severe first";
    }
    for (korrin_check::Severity severity : row.severities) {
      table.insert(row.code + " " + korrin_check::severity_name(severity));
    }
  }
  EXPECT_EQ(emitted, table);
}

TEST(CheckGolden, FindingsMatchTextAndJsonExactly) {
  const std::vector<CheckedAccessory> accessories = example_accessories();
  const std::vector<std::string> documents = files_in(kData, ".json", ".expected.json");
  ASSERT_FALSE(documents.empty());
  for (const std::string& name : documents) {
    SCOPED_TRACE(name);
    const std::string stem = name.substr(0, name.size() - 5);
    const std::vector<Finding> findings =
        check_document(read_file(kData + "/" + name), accessories);
    // The document's own code is among its findings.
    const std::string code = name.substr(0, 4);
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(),
                            [&](const Finding& f) { return f.code == code; }));
    expect_file(kData + "/" + stem + ".expected.txt", as_text(findings, name));
    expect_file(kData + "/" + stem + ".expected.json", as_json(findings));
  }
}

TEST(CheckExamples, EveryExampleDocumentHasItsExactFindings) {
  const std::vector<CheckedAccessory> accessories = example_accessories();
  const std::string directory = std::string(KORRIN_EXAMPLES_DIR) + "/documents";
  const std::vector<std::string> documents = files_in(directory, ".json", "");
  ASSERT_GE(documents.size(), 9u);
  for (const std::string& name : documents) {
    SCOPED_TRACE(name);
    const std::vector<Finding> findings =
        check_document(read_file(directory + "/" + name), accessories);
    expect_file(kData + "/examples/" + name.substr(0, name.size() - 5) + ".expected.txt",
                as_text(findings, name));
  }
}

Finding only(const std::vector<Finding>& findings) {
  EXPECT_EQ(findings.size(), 1u);
  return findings.empty() ? Finding() : findings.front();
}

const std::string kHead = "{\"templateConfiguration\": {";

TEST(CheckPositions, ColumnsCountCharactersNotBytes) {
  // "ü" and "€" are 2 and 3 bytes, one character each.
  const std::vector<Finding> findings =
      check_document(kHead + "\"x\u00fc\u20ac\": 1, \"bad\": 2}}", {});
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].code, "K101");
  EXPECT_EQ(findings[0].line, 1);
  EXPECT_EQ(findings[0].column, 28);
  EXPECT_EQ(findings[1].code, "K101");
  EXPECT_EQ(findings[1].line, 1);
  EXPECT_EQ(findings[1].column, 38);
}

TEST(CheckPositions, CrLfEndsALineAndATabIsOneCharacter) {
  const Finding f =
      only(check_document("{\r\n\"templateConfiguration\": {\r\n\t\"updatedTim\": 1}}", {}));
  EXPECT_EQ(f.code, "K101");
  EXPECT_EQ(f.line, 3);
  EXPECT_EQ(f.column, 2);
  EXPECT_EQ(f.pointer, "/templateConfiguration/updatedTim");
}

TEST(CheckPositions, EmptyDocumentIsAtTheStart) {
  const Finding f = only(check_document("", {}));
  EXPECT_EQ(f.code, "K001");
  EXPECT_EQ(f.line, 1);
  EXPECT_EQ(f.column, 1);
  EXPECT_EQ(f.pointer, "");
}

TEST(CheckPositions, ByteOrderMarkIsNotAColumn) {
  const std::vector<Finding> findings = check_document("\xEF\xBB\xBF\n []", {});
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].code, "K004");
  EXPECT_EQ(findings[0].line, 2);
  EXPECT_EQ(findings[0].column, 2);
  EXPECT_EQ(findings[1].code, "K105");
}

TEST(CheckSyntax, TrailingContentTheLibraryAcceptsIsNoSyntaxError) {
  const std::vector<Finding> findings = check_document(kHead + "}} trailing", {});
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].code, "K005");
  EXPECT_EQ(findings[0].column, 31);
}

TEST(CheckSyntax, RawControlCharactersInStringsAreReadAsTheLibraryReadsThem) {
  // cJSON takes raw control characters inside strings: no syntax error.
  const Finding f = only(check_document(kHead + "\"a\x1b[31m\tb\": 1}}", {}));
  EXPECT_EQ(f.code, "K101");
  EXPECT_EQ(f.message, "unknown member \"a\x1b[31m\tb\" in the template");
  EXPECT_EQ(korrin_check::format_finding(f, "d.json", false),
            "d.json:1:28: warning K101: unknown member \"a\\x1b[31m\\tb\" in the template "
            "(ignored: the library does not read it)");
}

TEST(CheckSuggestions, NearestKnownNameIsSuggested) {
  const Finding f = only(check_document(kHead + "\"comonSetings\": []}}", {}));
  EXPECT_EQ(f.message,
            "unknown member \"comonSetings\" in the template; did you mean \"commonSettings\"?");
  EXPECT_EQ(f.severity, korrin_check::Severity::kWarning);
  const Finding far = only(check_document(kHead + "\"colour\": []}}", {}));
  EXPECT_EQ(far.message, "unknown member \"colour\" in the template");
  EXPECT_EQ(far.severity, korrin_check::Severity::kWarning);
}

TEST(CheckSuggestions, AMemberOfAnotherPlaceIsNamedAsSuch) {
  const Finding f = only(check_document(kHead + "\"firmwareVersion\": \"1-0\"}}", {}));
  EXPECT_EQ(f.message,
            "unknown member \"firmwareVersion\" in the template; \"firmwareVersion\" belongs in a "
            "firmware entry");
}

TEST(CheckPointers, TildeAndSlashAreEscaped) {
  const Finding f = only(check_document(kHead + "\"a~b/c\": 1}}", {}));
  EXPECT_EQ(f.pointer, "/templateConfiguration/a~0b~1c");
}

TEST(CheckEscaping, EveryControlCharacterIsEscaped) {
  std::string all;
  for (int c = 0; c < 0x20; ++c) {
    all += static_cast<char>(c);
  }
  all += '\x7f';
  EXPECT_EQ(korrin_check::escape_control_characters(all),
            "\\x00\\x01\\x02\\x03\\x04\\x05\\x06\\x07\\x08\\t\\n\\x0b\\x0c\\r\\x0e\\x0f"
            "\\x10\\x11\\x12\\x13\\x14\\x15\\x16\\x17\\x18\\x19\\x1a\\x1b\\x1c\\x1d\\x1e\\x1f"
            "\\x7f");
  std::string c1;
  for (unsigned c = 0x80; c <= 0x9F; ++c) {
    c1 += '\xC2';
    c1 += static_cast<char>(c);
  }
  std::string expected;
  const char* hex = "0123456789abcdef";
  for (unsigned c = 0x80; c <= 0x9F; ++c) {
    expected += std::string("\\u00") + hex[c >> 4] + hex[c & 15];
  }
  EXPECT_EQ(korrin_check::escape_control_characters(c1), expected);
  EXPECT_EQ(korrin_check::escape_control_characters("a\\b \xE2\x80\xAE \xE2\x80\xA8 \xff \u00fc"),
            "a\\\\b \\u202e \\u2028 \\xff \u00fc");
}

TEST(CheckEscaping, AnEmbeddedNewlineCannotForgeAnOutputLine) {
  const Finding f = only(check_document(kHead + "\"x\\nd.json:9:9: error K001: forged\": 1}}", {}));
  const std::string line = korrin_check::format_finding(f, "d.json", false);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(line,
            "d.json:1:28: warning K101: unknown member \"x\\nd.json:9:9: error K001: forged\" in "
            "the template (ignored: the library does not read it)");
}

TEST(CheckFormat, ColourMarksSeverityAndCode) {
  const Finding f{"K203", korrin_check::Severity::kWarning, 2, 5, "/p", "m", "e"};
  EXPECT_EQ(korrin_check::format_finding(f, "f\x1b.json", true),
            "f\\x1b.json:2:5: \x1b[1;33mwarning\x1b[0m \x1b[1mK203\x1b[0m: m (e)");
}

}  // namespace

namespace {

// 100,000 settings (every usage id twice) and 2,000 model groups, each
// named after an earlier one: the duplicate and shadowing checks must not
// grow with the square of the counts.
TEST(CheckScale, HundredThousandSettingsAndTwoThousandGroups) {
  std::string document = "{\"templateConfiguration\": {\"commonSettings\": [\n";
  for (int i = 0; i < 100000; ++i) {
    document += "{\"name\": \"s" + std::to_string(i) +
                "\", \"usageId\": " + std::to_string(i % 50000) +
                ", \"value\": 1, \"access\": \"Admin\"},\n";
  }
  document += "{\"name\": \"last\", \"usageId\": 50000, \"value\": 1, \"access\": \"Admin\"}],\n";
  document += "\"modelSpecificSettings\": [\n";
  for (int g = 0; g < 2000; ++g) {
    document += std::string(g == 0 ? "" : ",\n") + "{\"models\": [\"M" + std::to_string(g) +
                "\"], \"modelFirmware\": [{\"firmwareName\": \"LATEST\"}]}";
  }
  document += "]}}\n";
  const std::vector<Finding> findings = check_document(document, {});
  std::size_t duplicates = 0;
  std::size_t shadowed = 0;
  std::size_t without_params = 0;
  for (const Finding& f : findings) {
    duplicates += f.code == "K201" ? 1 : 0;
    shadowed += f.code == "K303" ? 1 : 0;
    without_params += f.code == "K305" ? 1 : 0;
  }
  EXPECT_EQ(duplicates, 50000u);
  // "M10".."M19" contain "M1", and so on: every name of two or more digits
  // contains the earlier name made of its first digit(s).
  EXPECT_EQ(shadowed, 1990u);
  // No group has "firmwareParams": the common settings would not be sent.
  EXPECT_EQ(without_params, 2000u);
  EXPECT_EQ(findings.size(), duplicates + shadowed + without_params);
  EXPECT_EQ(findings[0].line, 50002);
}

}  // namespace

namespace {

// A syntax error is reported exactly when the library's parser (cJSON)
// rejects the text, for the corners where parsers differ.
TEST(CheckSyntax, SyntaxErrorExactlyWhenTheLibraryParserRejects) {
  const std::vector<std::string> texts = {"1.",
                                          "-",
                                          "01",
                                          "-.5",
                                          "1e",
                                          "1e+",
                                          "[1,]",
                                          "{\"a\":1,}",
                                          "\"\\x\"",
                                          "\"\\ud800\"",
                                          "\"\\udc00\"",
                                          "\"\\ud800\\udc00\"",
                                          "nul",
                                          "truex",
                                          "[1 2]",
                                          "\x01{}",
                                          "{} {}",
                                          "\"a\tb\"",
                                          "\"\\u12\"",
                                          "[\"a\\\"]",
                                          "{\"a\" 1}",
                                          "{1: 2}",
                                          "\xEF\xBB\xBF{}",
                                          "+1",
                                          "[-]",
                                          "[1e5,2E-3]",
                                          "\"\x7f\x1b\"",
                                          "\"abc",
                                          "{\"a\":}",
                                          "[,1]",
                                          std::string(1000, '[') + std::string(1000, ']'),
                                          std::string(1001, '[') + std::string(1001, ']')};
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    cJSON* tree = cJSON_Parse(text.c_str());
    const bool accepted = tree != nullptr;
    cJSON_Delete(tree);
    const std::vector<Finding> findings = check_document(text, {});
    const bool syntax_error = std::any_of(findings.begin(), findings.end(),
                                          [](const Finding& f) { return f.code == "K003"; });
    EXPECT_EQ(syntax_error, !accepted);
  }
}

TEST(CheckSyntax, ErrorPositionAndExpectation) {
  const Finding f =
      only(check_document("{\n  \"templateConfiguration\": {\n    \"updatedTime\" 1\n", {}));
  EXPECT_EQ(f.code, "K003");
  EXPECT_EQ(f.line, 3);
  EXPECT_EQ(f.column, 19);
  EXPECT_EQ(f.message, "JSON syntax error: expected ':' after the member name, found '1'");
}

TEST(CheckText, NulByteAndInvalidUtf8AreAtTheirBytes) {
  const std::vector<Finding> nul = check_document(kHead + std::string("}}\n\xc3\xa9\0x", 6), {});
  ASSERT_EQ(nul.size(), 2u);
  EXPECT_EQ(nul[0].code, "K005");
  EXPECT_EQ(nul[1].code, "K002");
  EXPECT_EQ(nul[1].line, 2);
  EXPECT_EQ(nul[1].column, 2);
  const Finding bad =
      only(check_document("{\"templateConfiguration\": {}, \"userId\": \"\xc3\x28\"}", {}));
  EXPECT_EQ(bad.code, "K002");
  EXPECT_EQ(bad.column, 42);
}

}  // namespace

namespace {

// Every prefix of a real document: the checker never fails where the
// library's parser succeeds, and always names the syntax error otherwise.
TEST(CheckSyntax, EveryPrefixOfADocumentAgreesWithTheLibraryParser) {
  const std::string document =
      read_file(std::string(KORRIN_EXAMPLES_DIR) + "/documents/office.json");
  ASSERT_GT(document.size(), 1000u);
  const std::vector<CheckedAccessory> accessories = example_accessories();
  for (std::size_t length = 1; length <= document.size(); ++length) {
    const std::string prefix = document.substr(0, length);
    cJSON* tree = cJSON_Parse(prefix.c_str());
    const bool accepted = tree != nullptr;
    cJSON_Delete(tree);
    const std::vector<Finding> findings = check_document(prefix, accessories);
    const auto syntax = std::count_if(findings.begin(), findings.end(), [](const Finding& f) {
      return f.code == "K003" || f.code == "K001";
    });
    ASSERT_EQ(syntax, accepted ? 0 : 1) << "length " << length;
  }
}

}  // namespace

namespace {

// An accessory whose type has no configuration object in the library: the
// library never configures it, so no model group could give it anything.
CheckedAccessory speaker(const std::string& dongle_model = std::string()) {
  CheckedAccessory accessory;
  accessory.id = "spk-08";
  accessory.type = 3;
  accessory.model = "Zelor S-1";
  accessory.resolved_model = "Zelor S-1";
  accessory.dongle_model = dongle_model;
  accessory.configurable = false;
  return accessory;
}

CheckedAccessory headset() {
  CheckedAccessory accessory;
  accessory.id = "hs-h9-03";
  accessory.type = 1;
  accessory.model = "Zelor H-9";
  accessory.resolved_model = "Zelor H-9";
  return accessory;
}

const std::string kNeverConfigured =
    "none: the library has no configuration object for accessory type 3 and never configures "
    "it, whatever the document says";

const std::string kOneGroup = kHead +
                              "\"modelSpecificSettings\": [{\"models\": [\"Zelor H-9\"], "
                              "\"modelFirmware\": [{\"firmwareName\": \"LATEST\"}]}]}}";

}  // namespace

TEST(CheckUnconfigured, AnAccessoryTheLibraryNeverConfiguresGetsNothingWhateverTheGroups) {
  const Finding f = only(check_document(kOneGroup, {headset(), speaker()}));
  EXPECT_EQ(f.code, "K306");
  EXPECT_EQ(f.severity, korrin_check::Severity::kError);
  EXPECT_EQ(f.pointer, "/templateConfiguration/modelSpecificSettings");
  EXPECT_EQ(f.message, "no model group names the model \"Zelor S-1\" of accessory \"spk-08\"");
  EXPECT_EQ(f.effect, kNeverConfigured);
}

TEST(CheckUnconfigured, ItsDongleGetsNothingEither) {
  const std::vector<Finding> findings = check_document(kOneGroup, {headset(), speaker("S-Dongle")});
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].message,
            "no model group names the model \"Zelor S-1\" of accessory \"spk-08\"");
  EXPECT_EQ(findings[0].effect, kNeverConfigured);
  EXPECT_EQ(findings[1].message,
            "no model group names the dongle \"S-Dongle\" of accessory \"spk-08\"");
  EXPECT_EQ(findings[1].effect, kNeverConfigured);
}

TEST(CheckUnconfigured, WithoutModelGroupsTheEffectNamesTheConfiguredOnes) {
  const std::string document = kHead + "\"updatedTime\": 1}}";
  const std::string message =
      "the template has no \"modelSpecificSettings\": no model group names any of the given "
      "accessories";
  const Finding configured = only(check_document(document, {headset()}));
  EXPECT_EQ(configured.code, "K306");
  EXPECT_EQ(configured.message, message);
  EXPECT_EQ(configured.effect,
            "their settings are stored but never sent to the device, no firmware is decided, and "
            "the library reports the document as failed for every accessory");
  const Finding mixed = only(check_document(document, {headset(), speaker()}));
  EXPECT_EQ(mixed.message, message);
  EXPECT_EQ(mixed.effect, configured.effect + " it configures");
  const Finding none = only(check_document(document, {speaker()}));
  EXPECT_EQ(none.code, "K306");
  EXPECT_EQ(none.severity, korrin_check::Severity::kError);
  EXPECT_EQ(none.message, message);
  EXPECT_EQ(none.effect,
            "none: the library has no configuration object for their types and never configures "
            "them, whatever the document says");
}

namespace {

const std::string kGroups = "\"modelSpecificSettings\": [{\"models\": [\"Zelor\"], ";

std::string firmware_document(const std::string& version) {
  return kHead + kGroups +
         "\"modelFirmware\": [{\"firmwareName\": \"fw\", \"firmwareVersion\": \"" + version +
         "\"}]}]}}";
}

CheckedAccessory running(const std::string& version) {
  CheckedAccessory accessory;
  accessory.id = "hs-1";
  accessory.type = 1;
  accessory.model = "Zelor H-9";
  accessory.firmware_version = version;
  return accessory;
}

TEST(CheckFirmwareVersion, TheDashFormIsSuggestedOnlyForNumbersJoinedBySeparators) {
  EXPECT_EQ(only(check_document(firmware_document("5.1.0"), {})).message,
            "firmware version \"5.1.0\" of model group \"Zelor\" cannot be read: only letters, "
            "digits and \"-\" are allowed; write \"5-1-0\"");
  for (const std::string version : {"v2.4.0 ", "2.4.0 ", "2..4", ".2.4"}) {
    EXPECT_EQ(only(check_document(firmware_document(version), {})).message,
              "firmware version \"" + version +
                  "\" of model group \"Zelor\" cannot be read: only letters, digits and \"-\" "
                  "are allowed; write the version as the accessory reports it: numbers joined by "
                  "\"-\"");
  }
}

TEST(CheckFirmwareVersion, TheDashFormOfTheRunningVersionWarnsOfTheSameFirmwareAgain) {
  const Finding f = only(check_document(firmware_document("1.4.2"), {running("1.4.2")}));
  EXPECT_EQ(f.code, "K301");
  EXPECT_EQ(f.message,
            "firmware version \"1.4.2\" of model group \"Zelor\" cannot be read: only letters, "
            "digits and \"-\" are allowed; but \"1-4-2\" is what accessory \"hs-1\" (\"1.4.2\") "
            "runs, with other separators: for \"1-4-2\" the library requests an upgrade to "
            "\"1-4-2\" anyway (it compares versions as text, so the same firmware is installed "
            "again); write \"Current\" to keep the running firmware");
  // Another running version: the plain suggestion.
  EXPECT_EQ(only(check_document(firmware_document("1.4.2"), {running("1.4.1")})).message,
            "firmware version \"1.4.2\" of model group \"Zelor\" cannot be read: only letters, "
            "digits and \"-\" are allowed; write \"1-4-2\"");
}

const std::string kTail =
    "\"modelSpecificSettings\": [{\"models\": [\"Zelor\"], \"modelFirmware\": "
    "[{\"firmwareName\": \"LATEST\", \"firmwareParams\": [{\"name\": \"m\", \"usageId\": 2, "
    "\"value\": 3, \"access\": \"Admin\"}]}]}]}}";

std::string common_value(const std::string& value) {
  return kHead + "\"commonSettings\": [{\"name\": \"n\", \"usageId\": 1, \"value\": " + value +
         ", \"access\": \"Admin\"}], " + kTail;
}

TEST(CheckControlCharacters, EscapedOnesReachTheDevice) {
  const Finding f = only(check_document(common_value("\"a\\nb\""), {}));
  EXPECT_EQ(f.code, "K006");
  EXPECT_EQ(f.severity, korrin_check::Severity::kWarning);
  EXPECT_EQ(f.pointer, "/templateConfiguration/commonSettings/0/value");
  EXPECT_EQ(f.message, "the text \"a\nb\" holds control characters");
  EXPECT_EQ(f.effect, "the device gets the control characters as they are");
  EXPECT_EQ(only(check_document(common_value("\"\\u001b[31m\""), {})).message,
            "the text \"\x1b[31m\" holds control characters");
}

TEST(CheckControlCharacters, ANulCutsTheText) {
  const Finding f = only(check_document(common_value("\"hi\\u0000gh\""), {}));
  EXPECT_EQ(f.code, "K006");
  EXPECT_EQ(f.message, "the text holds a NUL character after \"hi\"");
  EXPECT_EQ(f.effect, "the text is cut at the NUL: sent as \"hi\"");
}

TEST(CheckControlCharacters, RawOnesAreNoJsonForOtherTools) {
  const Finding f = only(check_document(common_value("\"a\x01z\""), {}));
  EXPECT_EQ(f.code, "K006");
  EXPECT_EQ(f.message,
            "the text \"a\x01z\" holds control characters, written raw between the quotes: "
            "write them as JSON escapes");
  EXPECT_EQ(f.effect,
            "the device gets the control characters as they are; the library reads raw control "
            "characters between the quotes, but other JSON tools and the document schema reject "
            "the document");
  // Other texts than values: kept in the text, not sent as a value.
  EXPECT_EQ(only(check_document(kHead + "\"modelSpecificSettings\": [{\"models\": [\"Zel\\tor\"], "
                                        "\"modelFirmware\": [{\"firmwareName\": \"LATEST\"}]}]}}",
                                {}))
                .effect,
            "the library keeps the control characters in the text");
  // Plain texts and escaped quotes are no finding.
  EXPECT_TRUE(check_document(common_value("\"say \\\"hi\\\" \\u00e9\""), {}).empty());
}

TEST(CheckOnce, AMisspelledNeededMemberIsOneFindingAtTheMisspelling) {
  const Finding version = only(check_document(
      kHead + kGroups +
          "\"modelFirmware\": [{\"firmwareName\": \"fw\", \"firmwareVerison\": \"1-2\"}]}]}}",
      {}));
  EXPECT_EQ(version.code, "K305");
  EXPECT_EQ(version.severity, korrin_check::Severity::kWarning);
  EXPECT_EQ(version.pointer,
            "/templateConfiguration/modelSpecificSettings/0/modelFirmware/0/firmwareVerison");
  EXPECT_EQ(version.message,
            "the firmware entry of model group \"Zelor\" has no \"firmwareVersion\"; "
            "\"firmwareVerison\" is there instead: a misspelling of it, which the library ignores");
  EXPECT_EQ(version.effect, "read as an empty version: no firmware is requested");

  const Finding models = only(check_document(
      kHead + "\"modelSpecificSettings\": [{\"model\": [\"Zelor\"], \"modelFirmware\": "
              "[{\"firmwareName\": \"LATEST\"}]}]}}",
      {}));
  EXPECT_EQ(models.code, "K305");
  EXPECT_EQ(models.severity, korrin_check::Severity::kError);
  EXPECT_EQ(models.column, 55);
  EXPECT_EQ(models.message,
            "model group 1 has no \"models\"; \"model\" is there instead: a misspelling of it, "
            "which the library ignores");

  const Finding value = only(check_document(
      kHead +
          "\"commonSettings\": [{\"name\": \"n\", \"usageId\": 1, \"vaule\": 2, \"access\": "
          "\"Admin\"}], " +
          kTail,
      {}));
  EXPECT_EQ(value.code, "K206");
  EXPECT_EQ(value.message,
            "setting \"n\" in the common settings has no \"value\"; \"vaule\" is there instead: a "
            "misspelling of it, which the library ignores");
  EXPECT_EQ(value.effect, "entry dropped");
}

TEST(CheckOnce, ANulByteThatCutsTheJsonIsOneFinding) {
  const Finding f = only(check_document(kHead + std::string("\0}}", 3), {}));
  EXPECT_EQ(f.code, "K002");
  EXPECT_EQ(f.column, 28);
  EXPECT_EQ(f.message,
            "the document is not text: it contains a NUL byte, and the JSON is unfinished there");
  EXPECT_EQ(f.effect,
            "the library reads the document only up to this byte and cannot parse that part: "
            "nothing is configured and no firmware is decided");
}

}  // namespace

namespace {

TEST(CheckFixes, AnAccessInAnotherLetterCaseIsReadAsTheKnownOne) {
  const Finding f = only(check_document(
      kHead +
          "\"commonSettings\": [{\"name\": \"n\", \"usageId\": 1, \"value\": 2, \"access\": "
          "\"admin\"}], " +
          kTail,
      {}));
  EXPECT_EQ(f.code, "K203");
  EXPECT_EQ(f.message,
            "access \"admin\" of setting \"n\" in the common settings is read as \"Admin\"");
}

TEST(CheckFixes, HalvesUnderTwoUsageIdsAreNamed) {
  const std::vector<Finding> findings = check_document(
      kHead +
          "\"commonSettings\": ["
          "{\"name\": \"tone_Admin\", \"usageId\": 7, \"value\": 1, \"access\": \"Both\"}, "
          "{\"name\": \"tone_User\", \"usageId\": 8, \"value\": 2, \"access\": \"Both\"}], " +
          kTail,
      {});
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].message,
            "\"Both\" setting \"tone_Admin\" (usage id 7) in the common settings has no \"_User\" "
            "half; \"tone_User\" is under usage id 8: the two halves need the same usage id");
  EXPECT_EQ(findings[1].message,
            "\"Both\" setting \"tone_User\" (usage id 8) in the common settings has no \"_Admin\" "
            "half; \"tone_Admin\" is under usage id 7: the two halves need the same usage id");
}

TEST(CheckFixes, AGroupNameInAnotherLetterCaseIsSaidSo) {
  CheckedAccessory accessory = running("5-0-2");
  const std::vector<Finding> findings = check_document(
      kHead +
          "\"modelSpecificSettings\": [{\"models\": [\"zelor h-9\"], \"modelFirmware\": "
          "[{\"firmwareName\": \"LATEST\"}]}]}}",
      {accessory});
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].code, "K306");
  EXPECT_EQ(findings[1].code, "K302");
  EXPECT_EQ(findings[1].message,
            "model group \"zelor h-9\" matches none of the given accessories; \"zelor h-9\" "
            "differs from the model \"Zelor H-9\" of accessory \"hs-1\" only in letter case: the "
            "library matches model names case-sensitively");
}

TEST(CheckFixes, ACommentIsNoJson) {
  for (const std::string comment : {"// note\n", "/* note */"}) {
    const Finding f = only(check_document(kHead + comment + "}}", {}));
    EXPECT_EQ(f.code, "K003");
    EXPECT_EQ(f.column, 28);
    EXPECT_EQ(f.message,
              "JSON syntax error: expected a member name in double quotes, found '/'; JSON has "
              "no comments: remove the comment");
  }
}

TEST(CheckFixes, AQuotedTimeOfDigitsLosesItsQuotes) {
  EXPECT_EQ(only(check_document(kHead + "\"updatedTime\": \"17\", " + kTail, {})).message,
            "\"updatedTime\" is a string (\"17\"), not a number: remove the quotes");
  EXPECT_EQ(only(check_document(kHead + "\"updatedTime\": \"x17\", " + kTail, {})).message,
            "\"updatedTime\" is a string (\"x17\"), not a number");
}

}  // namespace

namespace {

TEST(CheckSections, AMisspelledSectionSaysWhatIsLost) {
  EXPECT_EQ(only(check_document(kHead + "\"updatedTme\": 1, " + kTail, {})).effect,
            "ignored: the library does not read it; the template time is 0");
  const Finding groups = only(check_document(kHead + "\"modelSpecificSetings\": []}}", {}));
  EXPECT_EQ(groups.code, "K101");
  EXPECT_EQ(groups.effect,
            "ignored: the library does not read it; no model group is read: no accessory gets "
            "model settings or a firmware decision");
  // With the section present too, the misspelled copy loses nothing more.
  EXPECT_EQ(only(check_document(kHead + "\"comonSettings\": [], " +
                                    "\"commonSettings\": [{\"name\": \"n\", \"usageId\": 1, "
                                    "\"value\": 2, \"access\": \"Admin\"}], " +
                                    kTail,
                                {}))
                .effect,
            "ignored: the library does not read it");
}

}  // namespace

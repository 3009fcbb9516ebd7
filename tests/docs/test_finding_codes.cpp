// The finding codes of docs/document-format.md and the document checker's
// code table (tools/korrin-host/check) name the same codes, in the same
// order, with the same severities; and every code has its subsection.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "korrin_check/check.h"
#include "korrin_check/finding.h"

namespace {

struct DocumentedCode {
  std::string code;
  std::set<std::string> severities;
};

std::vector<std::string> lines_of(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

// The rows of the table under "## Finding codes": "| [K001](#k001) | what | severity |".
// The severities are the words error, warning and info of the last column.
std::vector<DocumentedCode> documented_codes(const std::vector<std::string>& lines) {
  std::vector<DocumentedCode> codes;
  const std::regex row(R"(^\| \[(K[0-9]{3})\]\(#(k[0-9]{3})\) \| [^|]+ \| ([^|]+) \|$)");
  const std::regex word(R"(\b(error|warning|info)\b)");
  bool in_section = false;
  for (const std::string& line : lines) {
    if (line.rfind("## ", 0) == 0) {
      in_section = line == "## Finding codes";
      continue;
    }
    std::smatch match;
    if (!in_section || !std::regex_match(line, match, row)) {
      continue;
    }
    DocumentedCode code;
    code.code = match[1];
    EXPECT_EQ(match[2].str(), "k" + code.code.substr(1)) << line;
    const std::string severity = match[3];
    for (auto it = std::sregex_iterator(severity.begin(), severity.end(), word);
         it != std::sregex_iterator(); ++it) {
      code.severities.insert((*it)[1]);
    }
    EXPECT_FALSE(code.severities.empty()) << line;
    codes.push_back(code);
  }
  return codes;
}

}  // namespace

TEST(FindingCodes, TheReferenceTableEqualsTheCheckersTable) {
  const std::vector<std::string> lines = lines_of(KORRIN_DOCUMENT_FORMAT_FILE);
  ASSERT_FALSE(lines.empty()) << KORRIN_DOCUMENT_FORMAT_FILE << " is missing or empty";
  const std::vector<DocumentedCode> documented = documented_codes(lines);
  const std::vector<korrin_check::FindingCode>& table = korrin_check::finding_codes();
  ASSERT_EQ(documented.size(), table.size());
  for (std::size_t i = 0; i < table.size(); ++i) {
    SCOPED_TRACE(table[i].code);
    EXPECT_EQ(documented[i].code, table[i].code);
    std::set<std::string> severities;
    for (korrin_check::Severity severity : table[i].severities) {
      severities.insert(korrin_check::severity_name(severity));
    }
    EXPECT_EQ(documented[i].severities, severities);
  }
}

TEST(FindingCodes, EveryCodeHasItsSubsection) {
  const std::vector<std::string> lines = lines_of(KORRIN_DOCUMENT_FORMAT_FILE);
  std::vector<std::string> headings;
  for (const std::string& line : lines) {
    if (line.rfind("#### K", 0) == 0) {
      headings.push_back(line.substr(5));
    }
  }
  std::vector<std::string> codes;
  for (const korrin_check::FindingCode& row : korrin_check::finding_codes()) {
    codes.push_back(row.code);
  }
  EXPECT_EQ(headings, codes);
}

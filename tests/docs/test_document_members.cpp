// The document checker's member table and the JSON Schema of the document
// describe the same members. tests/docs/document-members.txt is the schema's
// table (test docs_document_schema keeps it equal to the schema); the
// checker's table, written the same way, must equal it line for line.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "korrin_check/document_members.h"

namespace {

std::string read_file(const std::string& path) {
  std::ifstream file(path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace

TEST(DocumentMembers, CheckerTableEqualsTheSchemaTable) {
  std::vector<std::string> rows;
  for (const korrin_check::DocumentMember& member : korrin_check::document_members()) {
    rows.push_back(std::string(korrin_check::place_name(member.place)) + "\t" + member.name + "\t" +
                   member.type + "\n");
  }
  std::sort(rows.begin(), rows.end());
  std::string checker;
  for (const std::string& row : rows) {
    checker += row;
  }
  const std::string schema = read_file(KORRIN_DOCUMENT_MEMBERS_FILE);
  ASSERT_FALSE(schema.empty()) << KORRIN_DOCUMENT_MEMBERS_FILE << " is missing or empty";
  EXPECT_EQ(checker, schema);
}

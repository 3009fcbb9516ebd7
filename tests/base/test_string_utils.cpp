// String helpers and the headset-model rules.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

TEST(ToLowerTest, LowersEveryByteInPlace) {
  std::string text = "LaTeST-1_Ä";
  to_lower(text);
  EXPECT_EQ(text, "latest-1_Ä");
  std::string empty;
  to_lower(empty);
  EXPECT_EQ(empty, "");
}

TEST(EqualsIgnoreCaseTest, Table) {
  EXPECT_TRUE(equals_ignore_case("LATEST", "latest"));
  EXPECT_TRUE(equals_ignore_case("Both", "bOTH"));
  EXPECT_TRUE(equals_ignore_case("", ""));
  EXPECT_FALSE(equals_ignore_case("admin", "admins"));
  EXPECT_FALSE(equals_ignore_case("Both", "Bath"));
}

TEST(EqualsIgnoreCaseTest, LeavesItsArgumentsAlone) {
  const std::string a = "ABC";
  std::string b = "abc";
  EXPECT_TRUE(equals_ignore_case(a, b));
  EXPECT_EQ(a, "ABC");
  EXPECT_EQ(b, "abc");
}

TEST(IsAlphaTest, TrueWhenAnyLetterIsPresent) {
  EXPECT_FALSE(is_alpha("123-4"));
  EXPECT_TRUE(is_alpha("1a"));
  EXPECT_TRUE(is_alpha("1-2-dev"));
  EXPECT_FALSE(is_alpha(""));
  EXPECT_FALSE(is_alpha("-_ .9"));
}

TEST(IsNamingCorruptedTest, Table) {
  EXPECT_FALSE(is_naming_corrupted("abc-12"));
  EXPECT_TRUE(is_naming_corrupted("abc_12"));
  EXPECT_TRUE(is_naming_corrupted("1.2"));
  EXPECT_TRUE(is_naming_corrupted("a b"));
  EXPECT_FALSE(is_naming_corrupted(""));
  EXPECT_FALSE(is_naming_corrupted("1-2-30"));
  EXPECT_TRUE(is_naming_corrupted("1+2"));
}

TEST(StringEndsWithTest, Table) {
  EXPECT_FALSE(string_ends_with("abc", "abcd"));
  EXPECT_TRUE(string_ends_with("abc", ""));
  EXPECT_TRUE(string_ends_with("tone_Admin", "Admin"));
  EXPECT_FALSE(string_ends_with("tone_admin", "Admin"));
  EXPECT_TRUE(string_ends_with("abc", "abc"));
  EXPECT_TRUE(string_ends_with("", ""));
  EXPECT_FALSE(string_ends_with("", "a"));
}

TEST(GetHeadsetModelTest, SerialRuleTable) {
  EXPECT_EQ(get_headset_model("Zelor H-9", "ABCDEFG4X"), "Zelor H-8");
  EXPECT_EQ(get_headset_model("Zelor H-9", "ABCDEFG5X"), "Zelor H-9");
  EXPECT_EQ(get_headset_model("Zelor H-9", "ABC4"), "Zelor H-9");
  EXPECT_EQ(get_headset_model("Other", "ABCDEFG4"), "Other");
  EXPECT_EQ(get_headset_model("Zelor H-9", "ABCDEFG4"), "Zelor H-8");
  EXPECT_EQ(get_headset_model("Zelor H-9", "ABCDEF4"), "Zelor H-9");
  EXPECT_EQ(get_headset_model("zelor h-9", "ABCDEFG4"), "zelor h-9");
  EXPECT_EQ(get_headset_model("", ""), "");
}

class AccessoryModelTest : public ::testing::Test {
 protected:
  void SetUp() override { host.install(); }
  void TearDown() override { korrin_test::uninstall_plugins(); }
  korrin_test::FakeHost host;
};

TEST_F(AccessoryModelTest, NullAccessoryGivesEmptyModel) {
  EXPECT_EQ(get_headset_model(static_cast<const korrin::AccessoryInfoInterface*>(nullptr)), "");
}

TEST_F(AccessoryModelTest, OtherModelsAskOnlyForTheModel) {
  korrin_test::AccessoryData data;
  data.model = "Zelor H-5";
  auto accessory = host.accessory(data);
  EXPECT_EQ(get_headset_model(accessory.get()), "Zelor H-5");
  EXPECT_EQ(host.calls.all(), std::vector<std::string>{"accessory.get_model()"});
}

TEST_F(AccessoryModelTest, H9AsksForTheSerialNumberToo) {
  korrin_test::AccessoryData data;
  data.model = "Zelor H-9";
  data.serial_number = "ABCDEFG4X";
  auto accessory = host.accessory(data);
  EXPECT_EQ(get_headset_model(accessory.get()), "Zelor H-8");
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{"accessory.get_model()", "accessory.get_serial_number()"}));
}

TEST_F(AccessoryModelTest, IsZelorHeadsetReturnsTheAccessorysAnswer) {
  korrin_test::AccessoryData data;
  data.vendor = "Zelor";
  data.vendor_headset = false;
  auto accessory = host.accessory(data);
  EXPECT_FALSE(isZelorHeadset(accessory.get()));
  accessory->data().vendor_headset = true;
  EXPECT_TRUE(isZelorHeadset(accessory.get()));
  EXPECT_EQ(host.calls.count("accessory.get_vendor"), 0u);
}

TEST_F(AccessoryModelTest, DowngradeIsSupportedForEveryAccessoryEvenNull) {
  EXPECT_TRUE(headset_support_downgrade(nullptr));
  auto accessory = host.accessory(korrin_test::AccessoryData{});
  EXPECT_TRUE(headset_support_downgrade(accessory.get()));
  EXPECT_TRUE(host.calls.all().empty());
}

TEST(StringConverterTest, IntegersAsAStreamWritesThem) {
  EXPECT_EQ(stringconverter::to_string<int>(-5), "-5");
  EXPECT_EQ(stringconverter::to_string<int>(0), "0");
  EXPECT_EQ(stringconverter::to_string<int>(120), "120");
  EXPECT_EQ(stringconverter::to_string<int>(2147483647), "2147483647");
}

TEST(StringConverterTest, CharPointersAndNull) {
  char text[] = "1-2-3";
  char* pointer = text;
  EXPECT_EQ(stringconverter::to_string<char*>(pointer), "1-2-3");
  char* null_pointer = nullptr;
  EXPECT_EQ(stringconverter::to_string<char*>(null_pointer), "");
}

}  // namespace

// The fixture of tests that need nothing but the fake host installed, and
// that hold the library to deleting every accessory copy it makes.
#ifndef KORRIN_TESTS_SUPPORT_INSTALLED_HOST_TEST_H
#define KORRIN_TESTS_SUPPORT_INSTALLED_HOST_TEST_H

#include <gtest/gtest.h>

#include "support/fake_host.h"

namespace korrin_test {

/// Installs the fake host before each test and removes it afterwards; by
/// then every accessory description made during the test must be deleted.
class InstalledHostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start = FakeAccessory::live();
    host.install();
  }
  void TearDown() override {
    uninstall_plugins();
    EXPECT_EQ(FakeAccessory::live(), live_at_start);
  }

  FakeHost host;
  /// FakeAccessory::live() when the test started.
  int live_at_start = 0;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_INSTALLED_HOST_TEST_H

// The fixture of the tests that drive one headset configuration object
// through documents, settings arrays and firmware lists.
//
// Header-only: it uses cJSON, which only the test executables link.
#ifndef KORRIN_TESTS_SUPPORT_PROBE_CONFIG_TEST_H
#define KORRIN_TESTS_SUPPORT_PROBE_CONFIG_TEST_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/fake_host.h"
#include "support/json_tree.h"

namespace korrin_test {

/// The fake host installed, a default fake accessory ("Zelor H-5" on
/// 1-2-3) and a ProbeConfig "acc-1" bound to it. What their construction
/// recorded is forgotten, so a test sees only the calls it causes.
class ProbeConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.install();
    accessory = host.accessory(AccessoryData{});
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    forget_calls();
  }
  void TearDown() override {
    config.reset();
    uninstall_plugins();
  }

  /// Forgets every call and log record so far.
  void forget_calls() {
    host.calls.clear();
    host.log.clear();
  }

  /// Parses `text`, failing the test when it is not JSON.
  JsonTree json(const std::string& text) {
    JsonTree tree = parse_json(text);
    EXPECT_TRUE(tree) << text;
    return tree;
  }

  /// The stored settings, one line each (see describe_settings).
  std::vector<std::string> settings() { return describe_settings(config->retrieve_config()); }

  FakeHost host;
  std::unique_ptr<FakeAccessory> accessory;
  std::unique_ptr<ProbeConfig> config;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_PROBE_CONFIG_TEST_H

// The inventory post URL: the host's URL with "{qelm}" replaced by the first
// configuration server.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

using korrin_test::AccessoryData;
using korrin_test::FakeHost;

class PostUrlTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.install();
    auto accessory = host.accessory(AccessoryData{});
    metric = std::make_unique<korrin::metrics::HeadsetInventoryMetrics>(accessory.get(), "Metric");
    host.calls.clear();
  }
  void TearDown() override {
    metric.reset();
    korrin_test::uninstall_plugins();
  }
  // The URL built for `inventory_url` and `servers`.
  std::string url_for(const std::string& inventory_url, const std::vector<std::string>& servers) {
    host.system_info.inventory_url = inventory_url;
    host.system_info.config_servers = servers;
    return metric->get_post_url();
  }
  FakeHost host;
  std::unique_ptr<korrin::metrics::HeadsetInventoryMetrics> metric;
};

TEST_F(PostUrlTest, TokenIsReplacedByTheFirstServer) {
  EXPECT_EQ(url_for("https://{qelm}/inventory", {"10.0.0.5", "10.0.0.6"}),
            "https://10.0.0.5/inventory");
  EXPECT_EQ(
      host.calls.all(),
      (std::vector<std::string>{
          "system_info.get_inventory_url()",
          "log.notice(Metric: get_post_url tokenized url: https://{qelm}/inventory)",
          "system_info.get_config_servers()",
          "log.info(Metric: get_post_url target inventory url: https://10.0.0.5/inventory)"}));
}

TEST_F(PostUrlTest, Ipv6FirstServerIsBracketed) {
  EXPECT_EQ(url_for("https://{qelm}/inventory", {"fd00::1", "10.0.0.2"}),
            "https://[fd00::1]/inventory");
}

TEST_F(PostUrlTest, OnlyTheFirstServerIsConsulted) {
  // A later IPv6 address changes nothing.
  EXPECT_EQ(url_for("https://{qelm}/inventory", {"10.0.0.2", "fd00::1"}),
            "https://10.0.0.2/inventory");
}

TEST_F(PostUrlTest, AnyColonInTheServerBracketsTheWholeServer) {
  EXPECT_EQ(url_for("https://{qelm}/inventory", {"10.0.0.2:8080"}),
            "https://[10.0.0.2:8080]/inventory");
}

TEST_F(PostUrlTest, UrlWithoutTokenIsUnchangedAndServersAreNotAsked) {
  EXPECT_EQ(url_for("https://inventory.example/post", {"fd00::1"}),
            "https://inventory.example/post");
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{
                "system_info.get_inventory_url()",
                "log.notice(Metric: get_post_url tokenized url: https://inventory.example/post)",
                "log.info(Metric: get_post_url target inventory url: "
                "https://inventory.example/post)"}));
}

TEST_F(PostUrlTest, TokenIsMatchedCaseSensitively) {
  EXPECT_EQ(url_for("https://{QELM}/inventory", {"10.0.0.5"}), "https://{QELM}/inventory");
  EXPECT_EQ(host.calls.count("system_info.get_config_servers()"), 0u);
}

TEST_F(PostUrlTest, OnlyTheFirstOfTwoTokensIsReplaced) {
  EXPECT_EQ(url_for("https://{qelm}/inventory?mirror={qelm}", {"10.0.0.5"}),
            "https://10.0.0.5/inventory?mirror={qelm}");
}

TEST_F(PostUrlTest, TokenAloneAndAtTheEndAreReplaced) {
  EXPECT_EQ(url_for("{qelm}", {"fd00::2"}), "[fd00::2]");
  EXPECT_EQ(url_for("http://inventory/{qelm}", {"srv"}), "http://inventory/srv");
}

TEST_F(PostUrlTest, EmptyFirstServerRemovesTheToken) {
  EXPECT_EQ(url_for("https://{qelm}/inventory", {"", "10.0.0.6"}), "https:///inventory");
}

TEST_F(PostUrlTest, EmptyUrlIsReportedAndReturnedEmpty) {
  EXPECT_EQ(url_for("", {"10.0.0.5"}), "");
  EXPECT_EQ(
      host.calls.all(),
      (std::vector<std::string>{
          "system_info.get_inventory_url()", "log.notice(Metric: get_post_url tokenized url: )",
          "log.error(Metric: get_post_url[PLUGIN-ERR] system info has no url for inventory)"}));
}

TEST_F(PostUrlTest, EmptyServerListKeepsTheToken) {
  EXPECT_EQ(url_for("https://{qelm}/inventory", {}), "https://{qelm}/inventory");
  EXPECT_EQ(
      host.calls.all(),
      (std::vector<std::string>{
          "system_info.get_inventory_url()",
          "log.notice(Metric: get_post_url tokenized url: https://{qelm}/inventory)",
          "system_info.get_config_servers()",
          "log.warning(Metric: get_post_url[PLUGIN-ERR] no config servers found, returning)"}));
}

}  // namespace

// URL building from arbitrary host answers: the configuration URL of a
// configuration object (template, server of the current attempt, user id)
// and the inventory post URL of a metric (inventory URL, server list).
//
// Besides the sanitizers, each input is checked against a straightforward
// model of the token rules: the URL the library builds, the host queries it
// makes (and does not make), and the records it logs.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "korrin/korrin.h"

namespace {

using korrin_fuzz::require_equal;
using Lines = std::vector<std::string>;

std::string bracketed(const std::string& server) {
  return server.find(':') == std::string::npos ? server : "[" + server + "]";
}

// Replaces the first `token` of `url` by `value`; false when there is none.
bool replace_first(std::string& url, const std::string& token, const std::string& value) {
  const std::size_t at = url.find(token);
  if (at == std::string::npos) {
    return false;
  }
  url = url.substr(0, at) + value + url.substr(at + token.size());
  return true;
}

std::string joined(const Lines& lines) {
  std::string out;
  for (const auto& line : lines) {
    out += line + "\n";
  }
  return out;
}

struct Outcome {
  std::string url;
  Lines queries;
  Lines records;
};

Outcome expected_config_url(const std::string& url_template, const Lines& servers, int attempt,
                            const std::string& user_id) {
  Outcome out;
  out.queries.push_back("system_info.get_config_url_template()");
  out.records.push_back("HeadsetConfigImpl: get_config_url: tokenized url: " + url_template);
  if (url_template.empty()) {
    out.url = "defaultheadsetconfig.json";
    return out;
  }
  out.url = url_template;
  if (out.url.find("{tftp}") != std::string::npos) {
    out.queries.push_back("system_info.get_config_server(" + std::to_string(attempt) + ")");
    const bool known = attempt >= 0 && static_cast<std::size_t>(attempt) < servers.size();
    const std::string server = known ? servers[static_cast<std::size_t>(attempt)] : "";
    if (server.empty()) {
      out.records.push_back(
          "HeadsetConfigImpl: get_config_url[PLUGIN-ERR] no config servers found, returning");
      return out;
    }
    replace_first(out.url, "{tftp}", bracketed(server));
  }
  // The user token is looked for in the URL as it stands after the server
  // went in, so a server answer may itself carry it.
  if (out.url.find("{userid}") != std::string::npos) {
    out.queries.push_back("system_info.get_user_id()");
    replace_first(out.url, "{userid}", user_id);
  }
  return out;
}

Outcome expected_post_url(const std::string& inventory_url, const Lines& servers) {
  const std::string name = "HeadsetInventoryMetricsImpl: ";
  Outcome out;
  out.queries.push_back("system_info.get_inventory_url()");
  out.records.push_back(name + "get_post_url tokenized url: " + inventory_url);
  if (inventory_url.empty()) {
    out.records.push_back(name + "get_post_url[PLUGIN-ERR] system info has no url for inventory");
    return out;
  }
  out.url = inventory_url;
  if (out.url.find("{qelm}") != std::string::npos) {
    out.queries.push_back("system_info.get_config_servers()");
    if (servers.empty()) {
      out.records.push_back(name + "get_post_url[PLUGIN-ERR] no config servers found, returning");
      return out;
    }
    replace_first(out.url, "{qelm}", bracketed(servers.front()));
  }
  out.records.push_back(name + "get_post_url target inventory url: " + out.url);
  return out;
}

void require_outcome(korrin_test::FakeHost& host, const std::string& url, const Outcome& expected,
                     const char* what) {
  require_equal(url, expected.url, what);
  require_equal(joined(host.calls.starting_with("system_info.")), joined(expected.queries),
                "host queries of the URL building");
  require_equal(joined(host.log.texts()), joined(expected.records),
                "log records of the URL building");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const int attempt = input.ConsumeIntegralInRange<int>(-1, 4);
  const auto server_count = input.ConsumeIntegralInRange<std::size_t>(0, 4);
  const std::string config_template = input.ConsumeRandomLengthString(512);
  const std::string user_id = input.ConsumeRandomLengthString(128);
  const std::string inventory_url = input.ConsumeRandomLengthString(512);
  Lines servers;
  for (std::size_t i = 0; i < server_count; ++i) {
    servers.push_back(input.ConsumeRandomLengthString(128));
  }

  korrin_fuzz::Session session;
  korrin_test::FakeHost& host = session.host;
  host.system_info.config_url_template = config_template;
  host.system_info.user_id = user_id;
  host.system_info.inventory_url = inventory_url;
  host.system_info.config_servers = servers;

  auto accessory = host.accessory(korrin_test::AccessoryData{});
  {
    korrin::config::ConfigInterface* config = create_config("fuzz-1", accessory.get());
    korrin_fuzz::require(config != nullptr, "a headset gets a configuration object");
    config->set_config_retries(attempt);
    host.calls.clear();
    host.log.clear();
    const std::string url = config->get_config_url();
    require_outcome(host, url, expected_config_url(config_template, servers, attempt, user_id),
                    "configuration URL");
    delete_config(config);
  }
  {
    korrin::metrics::MetricsInterface* metric = create_metric(accessory.get());
    auto* inventory = dynamic_cast<korrin::metrics::InventoryMetric*>(metric);
    korrin_fuzz::require(inventory != nullptr, "a headset gets an inventory metric");
    host.calls.clear();
    host.log.clear();
    const std::string url = inventory->get_post_url();
    require_outcome(host, url, expected_post_url(inventory_url, servers), "inventory post URL");
    delete_metric(metric);
  }
  accessory.reset();
  session.require_everything_released();
  return 0;
}

// System information from the host file, and the operating-system version of
// the running system.
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <string>
#include <thread>
#include <vector>

#include "host_support/input_error.h"
#include "host_support/temp_dir.h"
#include "korrin_host/json_input.h"
#include "korrin_host/system_info.h"

namespace {

using korrin_host::HostFacts;
using korrin_host::SystemInfo;

std::string kernel() {
  struct utsname system {};
  uname(&system);
  return std::string(system.sysname) + " " + system.release;
}

std::string parse_error(const std::string& text) {
  return korrin_host_test::input_error_of(
      [&] { korrin_host::parse_host_facts(text, "host.json"); });
}

TEST(HostSystemInfo, TheExampleHostFileIsReadCompletely) {
  const HostFacts facts = korrin_host::load_host_facts(KORRIN_EXAMPLES_DIR "/host.json");
  EXPECT_EQ(facts.client, "korrin-host");
  EXPECT_EQ(facts.device_name, "meeting-room-3");
  EXPECT_EQ(facts.serial_number, "HOST-0042");
  EXPECT_EQ(facts.model, "Reference Host R1");
  EXPECT_EQ(facts.firmware_version, "1-4-0");
  EXPECT_EQ(facts.user_id, "user-1017");
  EXPECT_FALSE(facts.host_os_version_given);
  EXPECT_EQ(facts.config_url_template, "http://{tftp}:8080/office.json?user={userid}");
  EXPECT_EQ(facts.inventory_url, "http://{qelm}:8080/inventory");
  EXPECT_EQ(facts.config_servers,
            (std::vector<std::string>{"127.0.0.1", "127.0.0.2", "127.0.0.3"}));
}

TEST(HostSystemInfo, AnswersTheLibrarysQueriesFromTheFacts) {
  HostFacts facts = korrin_host::parse_host_facts(
      R"({"client": "c", "deviceName": "d", "serialNumber": "s", "model": "m",
          "firmwareVersion": "f", "userId": "u", "hostOSVersion": "Test OS 9",
          "configUrlTemplate": "tftp://{tftp}:6969/{userid}.json",
          "inventoryUrl": "https://{qelm}/inventory", "configServers": ["a", "b"]})",
      "host.json");
  SystemInfo info(facts);
  EXPECT_EQ(info.get_client(), "c");
  EXPECT_EQ(info.get_device_name(), "d");
  EXPECT_EQ(info.get_serial_number(), "s");
  EXPECT_EQ(info.get_model(), "m");
  EXPECT_EQ(info.get_firmware_version(), "f");
  EXPECT_EQ(info.get_user_id(), "u");
  EXPECT_EQ(info.get_host_os_version(), "Test OS 9");
  EXPECT_EQ(info.get_config_url_template(), "tftp://{tftp}:6969/{userid}.json");
  EXPECT_EQ(info.get_inventory_url(), "https://{qelm}/inventory");
  EXPECT_EQ(info.get_config_servers(), (std::vector<std::string>{"a", "b"}));
}

TEST(HostSystemInfo, ReachedThroughTheInterfaceTheOverrideAnswers) {
  HostFacts facts;
  facts.host_os_version = "Given OS";
  facts.host_os_version_given = true;
  SystemInfo info(facts);
  korrin::SystemInfoInterface& as_interface = info;
  EXPECT_EQ(as_interface.get_host_os_version(), "Given OS");
}

TEST(HostSystemInfo, AServerIsGivenPerAttemptAndEmptyPastTheList) {
  HostFacts facts;
  facts.config_servers = {"10.0.0.1", "10.0.0.2"};
  SystemInfo info(facts);
  EXPECT_EQ(info.get_config_server(0), "10.0.0.1");
  EXPECT_EQ(info.get_config_server(1), "10.0.0.2");
  EXPECT_EQ(info.get_config_server(2), "");
  EXPECT_EQ(info.get_config_server(-1), "");
  EXPECT_EQ(info.config_server_requests(), (std::vector<int>{0, 1, 2, -1}));
}

TEST(HostSystemInfo, AbsentMembersAreEmpty) {
  SystemInfo info(korrin_host::parse_host_facts("{}", "host.json"), "/nonexistent/os-release");
  EXPECT_EQ(info.get_client(), "");
  EXPECT_EQ(info.get_config_url_template(), "");
  EXPECT_TRUE(info.get_config_servers().empty());
  EXPECT_EQ(info.get_host_os_version(), kernel());
}

TEST(HostSystemInfo, TheOsVersionIsReadFromTheRunningSystemByDefault) {
  korrin_host_test::TempDir dir;
  const std::string os_release =
      dir.write("os-release", "NAME=\"Test\"\nPRETTY_NAME=\"Test OS 1 (dev)\"\nID=test\n");
  SystemInfo info(HostFacts(), os_release);
  EXPECT_EQ(info.get_host_os_version(), "Test OS 1 (dev), " + kernel());
}

TEST(HostSystemInfo, AnUnquotedPrettyNameIsTakenAsItIs) {
  korrin_host_test::TempDir dir;
  const std::string os_release = dir.write("os-release", "PRETTY_NAME=Plain\n");
  EXPECT_EQ(korrin_host::running_os_version(os_release), "Plain, " + kernel());
}

TEST(HostSystemInfo, WithoutOsReleaseOnlyTheKernelIsReported) {
  korrin_host_test::TempDir dir;
  EXPECT_EQ(korrin_host::running_os_version(dir.write("os-release", "ID=x\n")), kernel());
  EXPECT_EQ(korrin_host::running_os_version("/nonexistent/os-release"), kernel());
}

TEST(HostSystemInfo, TheRealSystemHasAnOsVersion) {
  EXPECT_NE(korrin_host::running_os_version().find(kernel()), std::string::npos);
}

TEST(HostSystemInfo, ServerRequestsFromManyThreadsAreAllRemembered) {
  HostFacts facts;
  facts.config_servers = {"a"};
  SystemInfo info(facts);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&info] {
      for (int i = 0; i < 500; ++i) {
        info.get_config_server(0);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(info.config_server_requests().size(), 2000u);
}

TEST(HostSystemInfo, MalformedHostFilesAreRejectedWithTheirPlace) {
  EXPECT_EQ(parse_error("{\"userId\": 5}"), "host.json: \"userId\" must be a string");
  EXPECT_EQ(parse_error("{\"configServers\": \"10.0.0.1\"}"),
            "host.json: \"configServers\" must be an array of strings");
  EXPECT_EQ(parse_error("{\"configServer\": []}"),
            "host.json: \"configServer\" is not a known member");
  EXPECT_EQ(parse_error("{\n\"userId\": \"u\",\n}"),
            "host.json:3:2: invalid JSON (reached the end of the file)");
  EXPECT_EQ(parse_error("{\n\"userId\": \"u\"\n\"model\": \"m\"}"),
            "host.json:3:1: invalid JSON near '\"model\": \"m\"}'");
  EXPECT_EQ(parse_error("[]"), "host.json: expected a JSON object");
}

TEST(HostSystemInfo, AnUnreadableHostFileIsNamed) {
  EXPECT_EQ(korrin_host_test::input_error_of(
                [] { korrin_host::load_host_facts("/nonexistent/host.json"); }),
            "cannot read /nonexistent/host.json: No such file or directory");
}

}  // namespace

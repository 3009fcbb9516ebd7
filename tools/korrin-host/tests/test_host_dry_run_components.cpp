// The in-memory host components of a dry run: the log capture, the network
// that answers with one document, the device call log and the inline
// dispatcher.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/request.h"
#include "korrin_host/device_calls.h"
#include "korrin_host/document_network.h"
#include "korrin_host/inline_dispatcher.h"
#include "korrin_host/log_capture.h"

namespace {

using korrin_host::DeviceCall;
using korrin_host::DeviceCallLog;
using korrin_host::DocumentNetwork;
using korrin_host::InlineDispatcher;
using korrin_host::LogCapture;
using korrin_host::LogRecord;
using korrin_host::RequestRecord;

// --- LogCapture -------------------------------------------------------------

class RecordingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    records.push_back(LogRecord{level, text});
  }
  std::vector<LogRecord> records;
};

class ThrowingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel, const std::string&) override {
    throw std::runtime_error("sink broken");
  }
};

TEST(HostLogCapture, KeepsEveryRecordInOrderWithItsLevel) {
  LogCapture capture;
  capture.write_record(korrin::log::notice, "A: first");
  capture.write_record(korrin::log::error, "B: second");
  const std::vector<LogRecord> expected = {{korrin::log::notice, "A: first"},
                                           {korrin::log::error, "B: second"}};
  EXPECT_EQ(capture.records(), expected);
  EXPECT_EQ(capture.size(), 2u);
}

TEST(HostLogCapture, RecordsSinceAMarkLeaveOutTheEarlierOnes) {
  LogCapture capture;
  capture.write_record(korrin::log::info, "before");
  const std::size_t mark = capture.size();
  capture.write_record(korrin::log::warning, "after");
  const std::vector<LogRecord> expected = {{korrin::log::warning, "after"}};
  EXPECT_EQ(capture.records_since(mark), expected);
  EXPECT_TRUE(capture.records_since(5).empty());
}

TEST(HostLogCapture, PassesEachRecordOnToTheForwardSink) {
  RecordingSink forward;
  LogCapture capture(&forward);
  capture.write_record(korrin::log::debug, "X: y");
  const std::vector<LogRecord> expected = {{korrin::log::debug, "X: y"}};
  EXPECT_EQ(forward.records, expected);
  EXPECT_EQ(capture.records(), expected);
}

TEST(HostLogCapture, AFailingForwardSinkDoesNotThrowAndTheRecordIsKept) {
  ThrowingSink forward;
  LogCapture capture(&forward);
  EXPECT_NO_THROW(capture.write_record(korrin::log::error, "kept"));
  EXPECT_EQ(capture.records().size(), 1u);
}

// --- DocumentNetwork --------------------------------------------------------

TEST(HostDocumentNetwork, AnswersEveryFetchAtOnceWithTheDocument) {
  DocumentNetwork network("{\"a\": 1}");
  korrin::dispatcher::RequestContext request;
  request.url = "file:///doc.json";
  request.requester = "CONFIGMGR";
  std::string response = "left over";
  EXPECT_EQ(network.fetch(request, response), korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(response, "{\"a\": 1}");
  request.url = "http://elsewhere/";
  std::string second;
  EXPECT_EQ(network.fetch(request, second), korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(second, "{\"a\": 1}");
  const std::vector<RequestRecord> expected = {{"file:///doc.json", "", "CONFIGMGR"},
                                               {"http://elsewhere/", "", "CONFIGMGR"}};
  EXPECT_EQ(network.fetches(), expected);
  EXPECT_TRUE(network.posts().empty());
}

TEST(HostDocumentNetwork, PostsAreOnlyRecorded) {
  DocumentNetwork network("doc");
  korrin::dispatcher::RequestContext request;
  request.url = "http://inventory/";
  request.method = "POST";
  request.requester = "INVENTORY";
  network.post(request);
  const std::vector<RequestRecord> expected = {{"http://inventory/", "POST", "INVENTORY"}};
  EXPECT_EQ(network.posts(), expected);
  EXPECT_TRUE(network.fetches().empty());
}

// --- DeviceCallLog ----------------------------------------------------------

std::vector<std::string> lines_of(const DeviceCallLog& device) {
  std::vector<std::string> lines;
  for (const DeviceCall& call : device.calls()) {
    lines.push_back(korrin_host::describe_call(call));
  }
  return lines;
}

TEST(HostDeviceCallLog, RecordsEveryKindOfCallInOrder) {
  DeviceCallLog device;
  device.set_follow_user_config(21, false);
  device.apply_setting("hs-1", "busylight", 21, "1");
  device.set_follow_user_config(12, true);
  EXPECT_TRUE(device.request_firmware_upgrade("hs-1", "5-1-0", "fw.bin"));
  device.delegate_upgrade("hs-2");
  device.report_config_failure("hs-3", 1);
  device.report_config_pending("", 2);
  const std::vector<std::string> expected = {
      "set_follow_user_config(21, false)",
      "apply_setting(hs-1, busylight, 21, 1)",
      "set_follow_user_config(12, true)",
      "request_firmware_upgrade(hs-1, 5-1-0, fw.bin)",
      "delegate_upgrade(hs-2)",
      "report_config_failure(hs-3, 1)",
      "report_config_pending(, 2)",
  };
  EXPECT_EQ(lines_of(device), expected);
}

TEST(HostDeviceCallLog, KeepsTheFieldsOfEachCall) {
  DeviceCallLog device(false);
  EXPECT_FALSE(device.request_firmware_upgrade("hs-1", "2-0-0", "name"));
  device.apply_setting("hs-1", "volume", 5, "");
  const std::vector<DeviceCall> calls = device.calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].kind, DeviceCall::kFirmwareUpgrade);
  EXPECT_EQ(calls[0].firmware_version, "2-0-0");
  EXPECT_EQ(calls[0].firmware_name, "name");
  EXPECT_FALSE(calls[0].answer);
  EXPECT_EQ(calls[1].kind, DeviceCall::kApplySetting);
  EXPECT_EQ(calls[1].accessory_id, "hs-1");
  EXPECT_EQ(calls[1].key, "volume");
  EXPECT_EQ(calls[1].usage_id, 5);
  EXPECT_EQ(calls[1].value, "");
}

// --- InlineDispatcher -------------------------------------------------------

// Parameters whose answers a test sets; counts live copies.
class ScriptedParams : public korrin::TaskParametersInterface {
 public:
  ScriptedParams(int status, int* live) : status_(status), live_(live) { ++*live_; }
  ScriptedParams(const ScriptedParams& other)
      : korrin::TaskParametersInterface(other), status_(other.status_), live_(other.live_) {
    ++*live_;
  }
  ~ScriptedParams() override { --*live_; }
  korrin::TaskParametersInterface* clone() const override { return new ScriptedParams(*this); }
  int get_type() const override { return 0; }
  int check_status() override { return status_; }
  int get_timeout() const override { return 60; }
  int get_defer_time() const override { return 30; }

 private:
  int status_;
  int* live_;
};

struct TaskTrace {
  std::vector<std::string> ran;
  InlineDispatcher* dispatcher = nullptr;
  int* live = nullptr;
  bool queue_another = false;
};

void traced_task(void* context, korrin::TaskParametersInterface* params) {
  TaskTrace* trace = static_cast<TaskTrace*>(context);
  trace->ran.push_back("run status " + std::to_string(params->check_status()));
  if (trace->queue_another) {
    trace->queue_another = false;
    ScriptedParams next(1, trace->live);
    trace->dispatcher->add_task(traced_task, context, &next);
  }
}

TEST(HostInlineDispatcher, RunsNothingUntilAsked) {
  int live = 0;
  InlineDispatcher dispatcher;
  TaskTrace trace;
  {
    ScriptedParams params(1, &live);
    dispatcher.add_task(traced_task, &trace, &params);
  }
  EXPECT_EQ(live, 1);  // the dispatcher's own clone
  EXPECT_TRUE(trace.ran.empty());
  EXPECT_EQ(dispatcher.queued(), 1);
  EXPECT_EQ(dispatcher.run_queued(), 1);
  EXPECT_EQ(trace.ran, std::vector<std::string>{"run status 1"});
  EXPECT_EQ(live, 0);
  EXPECT_EQ(dispatcher.stats().ran, 1);
}

TEST(HostInlineDispatcher, EndsTasksThatAreNotReadyWithoutRunningThem) {
  int live = 0;
  InlineDispatcher dispatcher;
  TaskTrace trace;
  ScriptedParams defer(2, &live);
  ScriptedParams drop(3, &live);
  dispatcher.add_task(traced_task, &trace, &defer);
  dispatcher.add_task(traced_task, &trace, &drop);
  EXPECT_EQ(dispatcher.run_queued(), 2);
  EXPECT_TRUE(trace.ran.empty());
  EXPECT_EQ(dispatcher.stats().deferred, 1);
  EXPECT_EQ(dispatcher.stats().dropped, 1);
  EXPECT_EQ(dispatcher.stats().accepted, 2);
  EXPECT_EQ(live, 2);  // only the caller's two objects are left
}

TEST(HostInlineDispatcher, RunsTasksQueuedByARunningTask) {
  int live = 0;
  InlineDispatcher dispatcher;
  TaskTrace trace;
  trace.dispatcher = &dispatcher;
  trace.live = &live;
  trace.queue_another = true;
  {
    ScriptedParams params(1, &live);
    dispatcher.add_task(traced_task, &trace, &params);
  }
  EXPECT_EQ(dispatcher.run_queued(), 2);
  EXPECT_EQ(trace.ran, (std::vector<std::string>{"run status 1", "run status 1"}));
  EXPECT_EQ(live, 0);
}

TEST(HostInlineDispatcher, StopsAfterTheGivenNumberOfTasksAndDeletesTheRestWithItself) {
  int live = 0;
  TaskTrace trace;
  {
    InlineDispatcher dispatcher;
    ScriptedParams params(1, &live);
    for (int i = 0; i < 3; ++i) {
      dispatcher.add_task(traced_task, &trace, &params);
    }
    EXPECT_EQ(dispatcher.run_queued(2), 2);
    EXPECT_EQ(dispatcher.queued(), 1);
    EXPECT_EQ(live, 2);
  }
  EXPECT_EQ(live, 0);
  EXPECT_EQ(trace.ran.size(), 2u);
}

TEST(HostInlineDispatcher, RefusesATaskWithoutFunctionOrParameters) {
  int live = 0;
  InlineDispatcher dispatcher;
  ScriptedParams params(1, &live);
  dispatcher.add_task(nullptr, nullptr, &params);
  dispatcher.add_task(traced_task, nullptr, nullptr);
  EXPECT_EQ(dispatcher.queued(), 0);
  EXPECT_EQ(dispatcher.stats().accepted, 2);
  EXPECT_EQ(dispatcher.stats().dropped, 2);
  EXPECT_EQ(live, 1);
}

}  // namespace

// The unit tests' names for the recording fake host of korrin::testing.
#ifndef KORRIN_TESTS_SUPPORT_FAKE_HOST_H
#define KORRIN_TESTS_SUPPORT_FAKE_HOST_H

// The library's own tests also reach the exported implementation classes,
// constants and string helpers, so they take the umbrella header.
#include "korrin/korrin.h"
#include "korrin/testing/fake_host.h"
#include "support/call_log.h"

namespace korrin_test {

using korrin::testing::AccessoryData;
using korrin::testing::FakeAccessory;
using korrin::testing::FakeDevice;
using korrin::testing::FakeHost;
using korrin::testing::FakeLogSink;
using korrin::testing::FakeMutex;
using korrin::testing::FakeMutexFactory;
using korrin::testing::FakeNetwork;
using korrin::testing::FakeSystemInfo;
using korrin::testing::FakeTaskDispatcher;
using korrin::testing::level_name;
using korrin::testing::LogRecord;
using korrin::testing::QueuedTask;
using korrin::testing::uninstall_plugins;

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_FAKE_HOST_H

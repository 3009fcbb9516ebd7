// Owning handles for the objects the library's factory functions make, so
// that a failing assertion or an exception in a test still frees them
// through the library's own delete functions.
#ifndef KORRIN_TESTS_SUPPORT_LIBRARY_HANDLES_H
#define KORRIN_TESTS_SUPPORT_LIBRARY_HANDLES_H

#include <memory>

#include "korrin/config.h"
#include "korrin/metrics.h"

namespace korrin_test {

struct MetricDeleter {
  void operator()(korrin::metrics::MetricsInterface* metric) const { delete_metric(metric); }
};
/// A metric made by create_metric(), freed with delete_metric().
using MetricHandle = std::unique_ptr<korrin::metrics::MetricsInterface, MetricDeleter>;

struct ConfigDeleter {
  void operator()(korrin::config::ConfigInterface* config) const { delete_config(config); }
};
/// A configuration object made by create_config(), freed with delete_config().
using ConfigHandle = std::unique_ptr<korrin::config::ConfigInterface, ConfigDeleter>;

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_LIBRARY_HANDLES_H

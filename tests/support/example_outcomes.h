// What each example accessory of examples/accessories.json does with an
// example document, written as the expected files of tests/data write it.
#ifndef KORRIN_TESTS_SUPPORT_EXAMPLE_OUTCOMES_H
#define KORRIN_TESTS_SUPPORT_EXAMPLE_OUTCOMES_H

#include <string>
#include <vector>

#include "support/fake_host.h"

namespace korrin_test {

/// One accessory of examples/accessories.json.
struct ExampleAccessory {
  std::string id;
  AccessoryData data;
};

/// The example documents of examples/documents/ (names without ".json"),
/// each with an expected outcome in tests/data/<name>.expected.
const std::vector<std::string>& example_document_names();

/// The accessories of examples/accessories.json (the format is described in
/// examples/README.md).
std::vector<ExampleAccessory> load_example_accessories();

/// What `accessory` does with `document`: a fresh configuration object takes
/// the document over; the result, the device calls and the stored settings.
/// Installs a fake host for the time of the call and uninstalls it after.
std::string example_outcome(const ExampleAccessory& accessory, const std::string& document);

/// example_outcome() of every example accessory, each followed by a blank
/// line: the whole content of the document's expected file.
std::string example_outcomes(const std::string& document);

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_EXAMPLE_OUTCOMES_H

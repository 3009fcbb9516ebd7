// Three accessories that the fault-injection tests and the fuzz targets
// connect together: the documents they use name these models, so the same
// descriptions serve both.
#ifndef KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H
#define KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H

#include "support/fake_host.h"

namespace korrin_test {

/// A "Zelor H-9" headset on firmware 5-0-2.
AccessoryData h9_headset();

/// A "Zelor H-7 Wireless" headset on firmware 1-0-4 with a "Zelor D-2"
/// dongle on 3-0-9.
AccessoryData wireless_headset();

/// A "Zelor C-20" camera (type 2) on firmware 7-2-0.
AccessoryData c20_camera();

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H

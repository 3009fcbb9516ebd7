// Three sample accessory descriptions (two headsets, one camera) whose models
// the example configuration documents name, for tests that connect several
// accessories together.
#ifndef KORRIN_TESTING_SAMPLE_ACCESSORIES_H
#define KORRIN_TESTING_SAMPLE_ACCESSORIES_H

#include "korrin/testing/fake_host.h"

namespace korrin {
namespace testing {

/// A "Zelor H-9" headset on firmware 5-0-2.
AccessoryData h9_headset();

/// A "Zelor H-7 Wireless" headset on firmware 1-0-4 with a "Zelor D-2"
/// dongle on 3-0-9.
AccessoryData wireless_headset();

/// A "Zelor C-20" camera (type 2) on firmware 7-2-0.
AccessoryData c20_camera();

}  // namespace testing
}  // namespace korrin

#endif  // KORRIN_TESTING_SAMPLE_ACCESSORIES_H

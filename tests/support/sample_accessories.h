// The unit tests' names for the sample accessories of korrin::testing.
#ifndef KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H
#define KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H

#include "korrin/testing/sample_accessories.h"
#include "support/fake_host.h"

namespace korrin_test {

using korrin::testing::c20_camera;
using korrin::testing::h9_headset;
using korrin::testing::wireless_headset;

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_SAMPLE_ACCESSORIES_H

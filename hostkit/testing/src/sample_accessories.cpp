#include "korrin/testing/sample_accessories.h"

namespace korrin {
namespace testing {

AccessoryData h9_headset() {
  AccessoryData data;
  data.model = "Zelor H-9";
  data.serial_number = "ZH9C0007A1";
  data.firmware_version = "5-0-2";
  return data;
}

AccessoryData wireless_headset() {
  AccessoryData data;
  data.model = "Zelor H-7 Wireless";
  data.serial_number = "ZH7W5520019";
  data.firmware_version = "1-0-4";
  data.dongle_model = "Zelor D-2";
  data.dongle_firmware_version = "3-0-9";
  return data;
}

AccessoryData c20_camera() {
  AccessoryData data;
  data.type = 2;
  data.model = "Zelor C-20";
  data.serial_number = "ZC20K009913";
  data.firmware_version = "7-2-0";
  return data;
}

}  // namespace testing
}  // namespace korrin

// From korrin::init to delete_config_manager: a headset and a camera are
// connected, one fetch of a published document serves both, and the device
// interface receives exactly the settings and firmware requests due.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/example_files.h"
#include "support/expected_records.h"
#include "support/fake_host.h"

namespace {

using korrin::config::ConfigManager;
using korrin::config::ConfigManagerImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::read_example_document;
using Lines = std::vector<std::string>;

// As examples/accessories.json describes them.
AccessoryData desk_headset() {
  AccessoryData data;
  data.type = 1;
  data.vendor = "Zelor";
  data.model = "Zelor H-5";
  data.serial_number = "ZH5B2231907";
  data.firmware_version = "2-3-1";
  data.dock_serial_number = "DK-77120";
  data.dock_model = "Zelor Dock 5";
  data.vendor_headset = true;
  return data;
}

AccessoryData room_camera() {
  AccessoryData data;
  data.type = 2;
  data.vendor = "Zelor";
  data.model = "Zelor C-20";
  data.serial_number = "ZC20A0099812";
  data.firmware_version = "4-1-7";
  data.vendor_headset = false;
  return data;
}

const Lines kCameraFromCameraRoom = {
    "device.apply_setting(cam-room-06, brightness, 201, 60)",
    "device.apply_setting(cam-room-06, contrast, 202, 50)",
    "device.set_follow_user_config(203, false)",
    "device.apply_setting(cam-room-06, whiteBalance, 203, auto)",
    "device.apply_setting(cam-room-06, antiFlicker, 204, 50)",
    "device.set_follow_user_config(206, true)",
    "device.apply_setting(cam-room-06, statusLight, 207, 1)",
    "device.apply_setting(cam-room-06, powerLineFrequency, 208, 50)",
    "device.apply_setting(cam-room-06, fieldOfView, 220, 90)",
    "device.set_follow_user_config(221, false)",
    "device.apply_setting(cam-room-06, speakerTracking, 221, 1)",
    "device.request_firmware_upgrade(cam-room-06, 4-2-0, C20 release)"};

const Lines kHeadsetFromFleet = {"device.apply_setting(hs-desk-01, ringerVolume, 101, 5)",
                                 "device.apply_setting(hs-desk-01, micGain, 103, 4)",
                                 "device.set_follow_user_config(104, false)",
                                 "device.apply_setting(hs-desk-01, sidetoneLevel, 104, 3)",
                                 "device.set_follow_user_config(105, true)",
                                 "device.set_follow_user_config(106, false)",
                                 "device.apply_setting(hs-desk-01, muteReminder, 106, 0)",
                                 "device.set_follow_user_config(107, true)",
                                 "device.apply_setting(hs-desk-01, autoAnswer, 109, 0)",
                                 "device.apply_setting(hs-desk-01, autoMute, 110, 1)",
                                 "device.apply_setting(hs-desk-01, wearingSensor, 111, 1)",
                                 "device.apply_setting(hs-desk-01, onlineIndicator, 113, 1)",
                                 "device.apply_setting(hs-desk-01, busylightMode, 114, auto)",
                                 "device.set_follow_user_config(115, false)",
                                 "device.apply_setting(hs-desk-01, anc, 115, 2)",
                                 "device.set_follow_user_config(116, true)",
                                 "device.apply_setting(hs-desk-01, hdVoice, 117, 1)",
                                 "device.apply_setting(hs-desk-01, audioBandwidth, 118, wideband)",
                                 "device.apply_setting(hs-desk-01, ringtone, 121, 3)",
                                 "device.apply_setting(hs-desk-01, secondInboundCall, 122, ignore)",
                                 "device.set_follow_user_config(123, false)",
                                 "device.apply_setting(hs-desk-01, callerAnnouncement, 123, 0)",
                                 "device.apply_setting(hs-desk-01, bluetoothEnabled, 124, 1)",
                                 "device.apply_setting(hs-desk-01, bluetoothPairingMode, 125, 0)",
                                 "device.apply_setting(hs-desk-01, powerOffTimer, 126, 60)",
                                 "device.apply_setting(hs-desk-01, inactivityTimeout, 127, 30)",
                                 "device.set_follow_user_config(129, true)",
                                 "device.apply_setting(hs-desk-01, streamingMode, 130, stereo)",
                                 "device.apply_setting(hs-desk-01, usbAudioPriority, 131, 1)",
                                 "device.apply_setting(hs-desk-01, linePolarity, 132, auto)",
                                 "device.set_follow_user_config(133, false)",
                                 "device.apply_setting(hs-desk-01, quietMode, 133, 1)",
                                 "device.apply_setting(hs-desk-01, firmwareUpdateNotice, 135, 1)",
                                 "device.apply_setting(hs-desk-01, hearingProtection, 138, g616)",
                                 "device.apply_setting(hs-desk-01, microphoneMode, 139, narrow)",
                                 "device.apply_setting(hs-desk-01, keepLinkUp, 140, 0)",
                                 "device.apply_setting(hs-desk-01, callerId, 141, 1)",
                                 "device.apply_setting(hs-desk-01, serialNumberVisible, 142, 1)",
                                 "device.apply_setting(hs-desk-01, callControlMode, 143, standard)",
                                 "device.apply_setting(hs-desk-01, dockChargeMode, 152, fast)",
                                 "device.request_firmware_upgrade(hs-desk-01, 2-4-10, H5 release)"};

const korrin_test::RecordsOf kManager("Lib::ConfigManagerImpl: ");

// The manager's records, without its name.
Lines manager_records(const FakeHost& host) { return kManager.texts_among(host.log.texts()); }

class EndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override { live_at_start_ = FakeAccessory::live(); }
  void TearDown() override { korrin_test::uninstall_plugins(); }

  // init, the manager, and both accessories connected; returns the manager.
  ConfigManager* start_with_both_accessories() {
    korrin::Plugins table = host.table();
    EXPECT_TRUE(korrin::init(table));
    ConfigManager* manager = korrin::config::create_config_manager();
    {
      // The host's own descriptions may go away after the calls.
      auto headset = host.accessory(desk_headset());
      auto camera = host.accessory(room_camera());
      EXPECT_EQ(manager->initialize_accessory("hs-desk-01", headset.get()), "hs-desk-01");
      EXPECT_EQ(manager->initialize_accessory("cam-room-06", camera.get()), "cam-room-06");
    }
    EXPECT_EQ(host.dispatcher.size(), 1u) << "the camera rides on the headset's request";
    return manager;
  }

  // Ids of the pending accessories in the order one fetch updates them.
  static Lines update_order() {
    ConfigManagerImpl* impl = ConfigManagerImpl::get_instance();
    Lines ids;
    for (int position = 0; position < impl->get_number_of_pending_configs(); ++position) {
      ids.push_back(impl->get_pending_config_object(position)->get_accessory_id());
    }
    return ids;
  }

  void shut_down_and_expect_nothing_left() {
    host.dispatcher.clear();
    korrin::config::delete_config_manager();
    EXPECT_EQ(host.mutexes.created(), host.mutexes.destroyed());
    EXPECT_EQ(host.mutexes.live(), 0);
    EXPECT_EQ(host.mutexes.violations(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
    EXPECT_EQ(FakeAccessory::live(), live_at_start_);
  }

  FakeHost host;
  int live_at_start_ = 0;
};

TEST_F(EndToEndTest, CameraRoomDocumentConfiguresTheCameraAndReportsTheHeadset) {
  ConfigManager* manager = start_with_both_accessories();
  const Lines order = update_order();
  ASSERT_EQ(order.size(), 2u);
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE,
                                  read_example_document("camera_room.json"));
  host.calls.clear();
  host.log.clear();

  EXPECT_EQ(host.dispatcher.run_all(), 1);

  // One GET for both, from the first configuration server.
  EXPECT_EQ(host.calls.starting_with("network."),
            Lines{"network.fetch(CONFIGMGR, http://10.0.0.5/config/user-7.json)"});
  // The headset has no model entry in this document: it is reported, the
  // camera is configured and asked to install its firmware.
  Lines expected;
  for (const auto& id : order) {
    if (id == "hs-desk-01") {
      expected.push_back("device.report_config_failure(hs-desk-01, 1)");
    } else {
      expected.insert(expected.end(), kCameraFromCameraRoom.begin(), kCameraFromCameraRoom.end());
    }
  }
  EXPECT_EQ(host.calls.starting_with("device."), expected);
  EXPECT_EQ(manager_records(host),
            (Lines{"configure_accessory_task2 pending accessories",
                   "on_fetch_config_success: unable to update config retrieved from server in "
                   "library",
                   "clean_up_pending_config_requests: ENTER", "on_fetch_config_successExit"}));
  EXPECT_EQ(host.device.calls_under_lock(),
            static_cast<int>(expected.size()));  // every device call is made inside the update

  EXPECT_EQ(manager->retrieve_config("cam-room-06", 201), "60");
  EXPECT_EQ(manager->retrieve_config("cam-room-06").size(), 10u);
  EXPECT_EQ(manager->retrieve_config("hs-desk-01").size(), 8u);  // stored, then rejected
  EXPECT_FALSE(ConfigManagerImpl::get_instance()->is_configure_accessory_pending());

  shut_down_and_expect_nothing_left();
}

TEST_F(EndToEndTest, FleetDocumentConfiguresTheHeadsetAndReportsTheCamera) {
  ConfigManager* manager = start_with_both_accessories();
  const Lines order = update_order();
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE,
                                  read_example_document("headset_fleet.json"));
  host.calls.clear();

  EXPECT_EQ(host.dispatcher.run_all(), 1);

  Lines expected;
  for (const auto& id : order) {
    if (id == "hs-desk-01") {
      expected.insert(expected.end(), kHeadsetFromFleet.begin(), kHeadsetFromFleet.end());
    } else {
      expected.push_back("device.report_config_failure(cam-room-06, 1)");
    }
  }
  EXPECT_EQ(host.calls.starting_with("device."), expected);
  EXPECT_EQ(manager->retrieve_config("hs-desk-01").size(), 43u);
  EXPECT_EQ(manager->retrieve_config("hs-desk-01", 152), "fast");

  shut_down_and_expect_nothing_left();
}

TEST_F(EndToEndTest, APendingFetchDeliveredLaterThenANewVersionForEveryone) {
  ConfigManager* manager = start_with_both_accessories();
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  host.dispatcher.run_all();
  EXPECT_EQ(host.calls.starting_with("device."), Lines{"device.report_config_pending(, 2)"});
  const Lines order = update_order();
  ASSERT_EQ(order.size(), 2u);

  // The host's network layer finishes the download and hands it over.
  host.calls.clear();
  std::string document = read_example_document("latest_driver.json");
  EXPECT_TRUE(manager->on_fetch_config_success(document));
  // Every Zelor product hands its firmware to the host's own driver.
  const Lines delegated = {"device.delegate_upgrade(" + order[0] + ")",
                           "device.delegate_upgrade(" + order[1] + ")"};
  EXPECT_EQ(host.calls.starting_with("device.delegate_upgrade"), delegated);
  EXPECT_EQ(host.calls.count("device.apply_setting(hs-desk-01, ringerVolume, 101, 4)"), 1u);
  EXPECT_EQ(host.calls.count("device.apply_setting(cam-room-06, ringerVolume, 101, 4)"), 1u);

  // The version both have taken is not configured again...
  EXPECT_FALSE(manager->configure_accessory("cam-room-06", "v-1718208000"));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  // ... a newer one is, for every registered accessory, with one fetch.
  host.log.clear();
  EXPECT_TRUE(manager->configure_accessory("hs-desk-01", "v-1718300000"));
  const Lines records = manager_records(host);
  EXPECT_NE(std::find(records.begin(), records.end(), "configure_accessory for 2accessories"),
            records.end());
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE, document);
  host.calls.clear();
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_EQ(host.network.fetches().size(), 2u);
  EXPECT_EQ(host.calls.starting_with("device.delegate_upgrade"), delegated);

  shut_down_and_expect_nothing_left();
}

}  // namespace

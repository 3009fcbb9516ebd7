// The order of virtual operations is part of the binary interface: hosts
// built against older headers call through fixed vtable slots. Every
// expected slot below is written out by hand from the documented declaration
// order (counting two slots for a virtual destructor), never derived from
// the headers, so that a reordering in a header fails here.
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>

#include "korrin/korrin.h"
#include "support/vtable_slot.h"

namespace korrin_test {

// A class that adds one virtual operation to `Base`: the new operation takes
// the first slot after all of Base's, which gives Base's slot count (and so
// where its destructor ends). Never instantiated.
template <typename Base>
struct Appended : Base {
  virtual void appended_operation() {}
};

}  // namespace korrin_test

namespace {

using korrin_test::Appended;
using korrin_test::vtable_slot;

using korrin::AccessoryInfoInterface;
using korrin::ConfigParam;
using korrin::DeviceControlInterface;
using korrin::MutexFactoryInterface;
using korrin::MutexInterface;
using korrin::SystemInfoInterface;
using korrin::TaskDispatcherInterface;
using korrin::TaskParametersInterface;
using korrin::config::ConfigAccessoryParams;
using korrin::config::ConfigImpl;
using korrin::config::ConfigInterface;
using korrin::config::ConfigManager;
using korrin::config::ConfigManagerImpl;
using korrin::config::HeadsetConfigImpl;
using korrin::dispatcher::NetworkInterface;
using korrin::log::HostLogInterface;

TEST(VtableSlotTest, DecoderTellsVirtualFromNonVirtual) {
  EXPECT_EQ(vtable_slot(&ConfigImpl::set_map_entry), -1);
  EXPECT_EQ(vtable_slot(&ConfigImpl::reset_timestamps), -1);
  EXPECT_EQ(vtable_slot(&ConfigManagerImpl::get_number_of_configs), -1);
  EXPECT_GE(vtable_slot(&ConfigInterface::clone), 0);
}

TEST(VtableOrderTest, ConfigInterface) {
  EXPECT_EQ(vtable_slot(&ConfigInterface::update_from_server), 0);
  EXPECT_EQ(vtable_slot(&ConfigInterface::update_from_host), 1);
  EXPECT_EQ(vtable_slot(&ConfigInterface::get_config_url), 2);
  EXPECT_EQ(vtable_slot(&ConfigInterface::apply_config_to_device), 3);
  EXPECT_EQ(vtable_slot(&ConfigInterface::retrieve_config), 4);
  EXPECT_EQ(vtable_slot(&ConfigInterface::get_type), 5);
  EXPECT_EQ(vtable_slot(&ConfigInterface::get_accessory), 6);
  EXPECT_EQ(vtable_slot(&ConfigInterface::get_accessory_id), 7);
  EXPECT_EQ(vtable_slot(&ConfigInterface::get_config_retries), 8);
  EXPECT_EQ(vtable_slot(&ConfigInterface::set_config_retries), 9);
  EXPECT_EQ(vtable_slot(static_cast<bool (ConfigInterface::*)(const std::string&) const>(
                &ConfigInterface::is_config_required)),
            10);
  EXPECT_EQ(vtable_slot(&ConfigInterface::reset_config), 11);
  EXPECT_EQ(vtable_slot(&ConfigInterface::update), 12);
  EXPECT_EQ(vtable_slot(&ConfigInterface::clone), 13);
  // The destructor follows in slots 14 and 15, and nothing after it.
  EXPECT_EQ(vtable_slot(&Appended<ConfigInterface>::appended_operation), 16);
}

TEST(VtableOrderTest, ConcreteConfigurationClassesKeepTheInterfaceSlots) {
  EXPECT_EQ(vtable_slot(&ConfigImpl::update_from_server), 0);
  EXPECT_EQ(vtable_slot(&ConfigImpl::apply_config_to_device), 3);
  EXPECT_EQ(vtable_slot(static_cast<bool (ConfigImpl::*)(const std::string&) const>(
                &ConfigImpl::is_config_required)),
            10);
  EXPECT_EQ(
      vtable_slot(static_cast<bool (ConfigImpl::*)(double) const>(&ConfigImpl::is_config_required)),
      -1);
  EXPECT_EQ(vtable_slot(&HeadsetConfigImpl::clone), 13);
  EXPECT_EQ(vtable_slot(&HeadsetConfigImpl::get_type), 5);
}

TEST(VtableOrderTest, ConfigManager) {
  using WholeMap = std::map<int, ConfigParam> (ConfigManager::*)(const std::string&);
  using OneSetting = std::string (ConfigManager::*)(const std::string&, int);
  EXPECT_EQ(vtable_slot(&ConfigManager::initialize_accessory), 0);
  EXPECT_EQ(vtable_slot(&ConfigManager::configure_accessory), 1);
  EXPECT_EQ(vtable_slot(&ConfigManager::remove_accessory), 2);
  EXPECT_EQ(vtable_slot(&ConfigManager::on_fetch_config_success), 3);
  EXPECT_EQ(vtable_slot(&ConfigManager::on_fetch_config_failure), 4);
  EXPECT_EQ(vtable_slot(&ConfigManager::reset_to_admin_defaults), 5);
  EXPECT_EQ(vtable_slot(static_cast<WholeMap>(&ConfigManager::retrieve_config)), 6);
  EXPECT_EQ(vtable_slot(static_cast<OneSetting>(&ConfigManager::retrieve_config)), 7);
  // The destructor follows in slots 8 and 9, and nothing after it.
  EXPECT_EQ(vtable_slot(&Appended<ConfigManager>::appended_operation), 10);
}

TEST(VtableOrderTest, ConfigManagerImplKeepsTheInterfaceSlots) {
  EXPECT_EQ(vtable_slot(&ConfigManagerImpl::initialize_accessory), 0);
  EXPECT_EQ(vtable_slot(&ConfigManagerImpl::on_fetch_config_failure), 4);
  EXPECT_EQ(vtable_slot(&ConfigManagerImpl::configure_accessory_task), -1);
}

TEST(VtableOrderTest, TaskParametersInterfaceStartsWithItsDestructor) {
  // Slots 0 and 1 are the destructor.
  EXPECT_EQ(vtable_slot(&TaskParametersInterface::clone), 2);
  EXPECT_EQ(vtable_slot(&TaskParametersInterface::get_type), 3);
  EXPECT_EQ(vtable_slot(&TaskParametersInterface::check_status), 4);
  EXPECT_EQ(vtable_slot(&TaskParametersInterface::get_timeout), 5);
  EXPECT_EQ(vtable_slot(&TaskParametersInterface::get_defer_time), 6);
  EXPECT_EQ(vtable_slot(&ConfigAccessoryParams::check_status), 4);
  EXPECT_EQ(vtable_slot(&Appended<TaskParametersInterface>::appended_operation), 7);
}

// The host interfaces below declare their destructor first (slots 0 and 1);
// the operations the library calls follow in their documented order.

TEST(VtableOrderTest, HostLogInterface) {
  EXPECT_EQ(vtable_slot(&HostLogInterface::write_record), 2);
  EXPECT_EQ(vtable_slot(&Appended<HostLogInterface>::appended_operation), 3);
}

TEST(VtableOrderTest, NetworkInterface) {
  EXPECT_EQ(vtable_slot(&NetworkInterface::post), 2);
  EXPECT_EQ(vtable_slot(&NetworkInterface::fetch), 3);
  EXPECT_EQ(vtable_slot(&Appended<NetworkInterface>::appended_operation), 4);
}

TEST(VtableOrderTest, DeviceControlInterface) {
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::apply_setting), 2);
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::delegate_upgrade), 3);
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::request_firmware_upgrade), 4);
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::report_config_failure), 5);
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::report_config_pending), 6);
  EXPECT_EQ(vtable_slot(&DeviceControlInterface::set_follow_user_config), 7);
  EXPECT_EQ(vtable_slot(&Appended<DeviceControlInterface>::appended_operation), 8);
}

TEST(VtableOrderTest, SystemInfoInterface) {
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_client), 2);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_device_name), 3);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_serial_number), 4);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_model), 5);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_firmware_version), 6);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_user_id), 7);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_host_os_version), 8);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_config_url_template), 9);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_inventory_url), 10);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_config_server), 11);
  EXPECT_EQ(vtable_slot(&SystemInfoInterface::get_config_servers), 12);
  EXPECT_EQ(vtable_slot(&Appended<SystemInfoInterface>::appended_operation), 13);
}

TEST(VtableOrderTest, TaskDispatcherInterface) {
  EXPECT_EQ(vtable_slot(&TaskDispatcherInterface::add_task), 2);
  EXPECT_EQ(vtable_slot(&Appended<TaskDispatcherInterface>::appended_operation), 3);
}

TEST(VtableOrderTest, MutexFactoryInterfaceAndMutexInterface) {
  EXPECT_EQ(vtable_slot(&MutexFactoryInterface::create_mutex), 2);
  EXPECT_EQ(vtable_slot(&MutexFactoryInterface::destroy_mutex), 3);
  EXPECT_EQ(vtable_slot(&MutexInterface::lock), 2);
  EXPECT_EQ(vtable_slot(&MutexInterface::unlock), 3);
  EXPECT_EQ(vtable_slot(&Appended<MutexFactoryInterface>::appended_operation), 4);
  EXPECT_EQ(vtable_slot(&Appended<MutexInterface>::appended_operation), 4);
}

TEST(VtableOrderTest, AccessoryInfoInterfaceEndsWithItsDestructor) {
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_accessory_type), 0);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::clone), 1);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_vendor), 2);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_model), 3);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_serial_number), 4);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_firmware_version), 5);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_dock_serial_number), 6);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_dock_model), 7);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_dongle_model), 8);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_dongle_firmware_version), 9);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_connection_type), 10);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::get_connection_status), 11);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::is_inventory_ready), 12);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::is_config_ready), 13);
  EXPECT_EQ(vtable_slot(&AccessoryInfoInterface::is_vendor_headset), 14);
  // The destructor follows in slots 15 and 16, and nothing after it.
  EXPECT_EQ(vtable_slot(&Appended<AccessoryInfoInterface>::appended_operation), 17);
}

}  // namespace

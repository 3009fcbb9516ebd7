/// \file
/// The host plugin table: the six interfaces through which the library reaches
/// the outside world, the accessory description, installation and the single
/// entry point of deferred tasks.
#ifndef KORRIN_PLUGINS_H
#define KORRIN_PLUGINS_H

#include <string>
#include <vector>

#include "korrin/export.h"
#include "korrin/host_log.h"
#include "korrin/request.h"

namespace korrin {

namespace dispatcher {

/// Answer of NetworkInterface::fetch(); any other value is treated as unknown.
enum FetchStatus { FETCH_DONE = 0, FETCH_UNAVAILABLE = 1, FETCH_PENDING = 2 };

/// The host's network access (plugin table member `network`).
class KORRIN_API NetworkInterface {
 public:
  virtual ~NetworkInterface() = default;
  /// Sends a request (the inventory document, method "POST"); fire and forget.
  /// Called on the dispatcher's thread.
  virtual void post(const RequestContext& request) = 0;
  /// Fetches the configuration document (empty method: GET), on the
  /// dispatcher's thread. Returns 0 with the whole document in `response`,
  /// 1 when the host cannot fetch now, or 2 when the fetch goes on and its
  /// outcome will be delivered through the configuration manager's
  /// on_fetch_config_success() / on_fetch_config_failure().
  virtual int fetch(const RequestContext& request, std::string& response) = 0;
};

}  // namespace dispatcher

/// Commands from the library to the accessories (plugin table member `device`).
///
/// The accessory id is the string under which the host registered the
/// accessory; an empty id in the two report operations stands for every
/// accessory waiting for the configuration document. Called on the thread
/// that runs the configure flow (usually the dispatcher's).
class KORRIN_API DeviceControlInterface {
 public:
  virtual ~DeviceControlInterface() = default;
  /// Sets one setting on the accessory.
  virtual void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                             const std::string& value) = 0;
  /// Hands the firmware upgrade to the host's own configuration driver.
  virtual void delegate_upgrade(const std::string& accessory_id) = 0;
  /// Asks the host to install the given firmware; returns the host's answer.
  virtual bool request_firmware_upgrade(const std::string& accessory_id,
                                        const std::string& firmware_version,
                                        const std::string& firmware_name) = 0;
  /// The configuration could not be fetched or taken over (code 1).
  virtual void report_config_failure(const std::string& accessory_id, int code) = 0;
  /// The configuration fetch is pending (code 2).
  virtual void report_config_pending(const std::string& accessory_id, int code) = 0;
  /// Whether the dual setting `usage_id` follows the user's own value.
  virtual void set_follow_user_config(int usage_id, bool follow) = 0;
};

/// Facts about the host (plugin table member `system_info`). An empty string
/// means the host has no such value.
class KORRIN_API SystemInfoInterface {
 public:
  virtual ~SystemInfoInterface() = default;
  /// "client" of the inventory's host part.
  virtual std::string get_client() = 0;
  /// "deviceName" of the host.
  virtual std::string get_device_name() = 0;
  /// "serialNumber" of the host.
  virtual std::string get_serial_number() = 0;
  /// "model" of the host.
  virtual std::string get_model() = 0;
  /// "firmwareVersion" of the host.
  virtual std::string get_firmware_version() = 0;
  /// The user id, for the inventory and the "{userid}" URL token.
  virtual std::string get_user_id() = 0;
  /// The host's operating-system version; empty unless the host overrides it.
  virtual std::string get_host_os_version();
  /// The configuration URL template ("{tftp}" and "{userid}" tokens).
  virtual std::string get_config_url_template() = 0;
  /// Where the inventory is posted; may hold the "{qelm}" token.
  virtual std::string get_inventory_url() = 0;
  /// The configuration server for attempt `attempt` (0 = first); empty for none.
  virtual std::string get_config_server(int attempt) = 0;
  /// All configuration servers; the inventory URL uses the first.
  virtual std::vector<std::string> get_config_servers() = 0;
};

/// The host's deferred-task runner (plugin table member `task_dispatcher`).
class KORRIN_API TaskDispatcherInterface {
 public:
  /// The function the library hands to add_task() (always task_forwarder).
  using TaskFunction = void (*)(void* context, TaskParametersInterface* params);

  virtual ~TaskDispatcherInterface() = default;
  /// Queues a task. `params` stays the caller's: keep a clone() of it, run
  /// `task(context, clone)` on the dispatcher's thread when check_status()
  /// allows, and delete the clone when the task has run or was dropped.
  virtual void add_task(TaskFunction task, void* context, TaskParametersInterface* params) = 0;
};

/// A lock made by the host's MutexFactoryInterface.
class KORRIN_API MutexInterface {
 public:
  virtual ~MutexInterface() = default;
  /// Takes the lock, blocking.
  virtual void lock() = 0;
  /// Releases the lock.
  virtual void unlock() = 0;
};

/// Makes and destroys the library's locks (plugin table member `mutex_factory`).
class KORRIN_API MutexFactoryInterface {
 public:
  virtual ~MutexFactoryInterface() = default;
  /// A new lock, owned by the caller until destroy_mutex(); re-entrant for
  /// the thread holding it when `recursive` is true.
  virtual MutexInterface* create_mutex(bool recursive) = 0;
  /// Releases a lock made by create_mutex().
  virtual void destroy_mutex(MutexInterface* mutex) = 0;
};

/// The host's description of one connected accessory. The library keeps only
/// clone()s of it, so the host's own object may go away after each call.
class KORRIN_API AccessoryInfoInterface {
 public:
  /// 1 = headset, 2 = camera; anything else is an unknown type.
  virtual int get_accessory_type() const = 0;
  /// A heap copy owned by the caller.
  virtual AccessoryInfoInterface* clone() const = 0;
  /// The accessory's vendor.
  virtual std::string get_vendor(SystemInfoInterface* system_info) const = 0;
  /// The accessory's model name.
  virtual std::string get_model() const = 0;
  /// The accessory's serial number.
  virtual std::string get_serial_number(SystemInfoInterface* system_info) const = 0;
  /// The accessory's firmware version.
  virtual std::string get_firmware_version() const = 0;
  /// Serial number of the dock the accessory sits in; empty when none.
  virtual std::string get_dock_serial_number() const = 0;
  /// Model of that dock.
  virtual std::string get_dock_model() const = 0;
  /// Model of the accessory's wireless base (dongle); empty when none.
  virtual std::string get_dongle_model() const = 0;
  /// Firmware version of the dongle.
  virtual std::string get_dongle_firmware_version() const = 0;
  /// Reported as "connectionType".
  virtual std::string get_connection_type() const = 0;
  /// Reported as "connectionStatus".
  virtual std::string get_connection_status() const = 0;
  /// Whether the inventory of this accessory may be sent now.
  virtual bool is_inventory_ready() const = 0;
  /// Whether the accessory can be configured now.
  virtual bool is_config_ready() const = 0;
  /// Whether the accessory is one of the maker's own headsets.
  virtual bool is_vendor_headset() const = 0;
  virtual ~AccessoryInfoInterface() = default;
};

/// The table of host interfaces handed to init(). All pointers are
/// non-owning and none may be null; the objects must stay alive until the
/// configuration manager has been deleted and no task can run any more.
struct Plugins {
  log::HostLogInterface* log = nullptr;                ///< receives every log record
  dispatcher::NetworkInterface* network = nullptr;     ///< fetches and posts documents
  DeviceControlInterface* device = nullptr;            ///< carries out settings and firmware
  SystemInfoInterface* system_info = nullptr;          ///< host facts and server addresses
  TaskDispatcherInterface* task_dispatcher = nullptr;  ///< runs deferred tasks
  MutexFactoryInterface* mutex_factory = nullptr;      ///< makes the library's locks
};

namespace globals {
/// The installed copy of the host's table; all null until init().
extern KORRIN_API Plugins plugins;
}  // namespace globals

/// Installs the host's table; must be called before anything else.
/// Throws std::runtime_error "plugins is not initialized properly" when a
/// member is null, leaving any previously installed table in force.
KORRIN_API bool init(Plugins& plugins);

/// The only function the library hands to add_task(): routes a due task by
/// its type. Never deletes `params` and never calls check_status().
KORRIN_API void task_forwarder(void* context, TaskParametersInterface* params);

}  // namespace korrin

#endif  // KORRIN_PLUGINS_H

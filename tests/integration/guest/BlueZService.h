#pragma once

#include <gio/gio.h>
#include <sys/types.h>

#include <optional>
#include <string>

#include "backends/airpods/PrivateBus.h"
#include "backends/posix/FileDescriptor.h"
#include "integration/guest/BluetoothControllers.h"

namespace velmaro::integration {

/// BlueZ itself on a bus of its own, in charge of the controllers of this kernel, which all call
/// themselves AirPods. It ends with this.
class BlueZService {
public:
    /// Throws std::runtime_error if it does not come up.
    BlueZService();
    ~BlueZService();
    BlueZService(const BlueZService&) = delete;
    BlueZService& operator=(const BlueZService&) = delete;

    /// For programs that are to take its bus for the system's: DBUS_SYSTEM_BUS_ADDRESS.
    [[nodiscard]] const std::string& busAddress() const { return bus_.address(); }

    /// Pairs the first controller with the one at that address and keeps them connected from then
    /// on. What went wrong, or nothing.
    std::string pair(const BluetoothAddress& address);

private:
    /// Calls an object's method; if it fails, what went wrong is in `error_`.
    bool call(const std::string& path, const char* interface, const char* method,
              GVariant* arguments = nullptr);
    bool set(const std::string& path, const char* property, bool value);
    bool has(const std::string& device, const char* property);

    PrivateBus bus_;
    std::optional<FileDescriptor> link_;
    pid_t daemon_ = -1;
    GDBusConnection* connection_ = nullptr;
    std::string error_;
};

}  // namespace velmaro::integration

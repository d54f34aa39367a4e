#include "integration/guest/BlueZService.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "integration/guest/Guest.h"
#include "integration/guest/VirtualHeadset.h"

namespace velmaro::integration {
namespace {

constexpr const char* kAdapter = "org.bluez.Adapter1";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kFirst = "/org/bluez/hci0";
constexpr const char* kSecond = "/org/bluez/hci1";
constexpr const char* kSettings = "/tmp/bluetooth.conf";
constexpr const char* kLog = "/tmp/bluetoothd.log";
constexpr std::uint16_t kServiceDiscovery = 1;

pid_t start(const std::string& busAddress) {
    std::ofstream(kSettings) << "[General]\n"
                                "AlwaysPairable=true\n"
                                "DiscoverableTimeout=0\n"
                                "DeviceID=bluetooth:004C:2014:0100\n";
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int log = ::open(kLog, O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", busAddress.c_str(), 1);
        ::execl("/usr/libexec/bluetooth/bluetoothd", "bluetoothd", "-n", "-f", kSettings, nullptr);
        ::_exit(127);
    }
    return pid;
}

}  // namespace

BlueZService::BlueZService() : daemon_(start(bus_.address())) {
    connection_ = g_dbus_connection_new_for_address_sync(
        bus_.address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    const bool isUp = eventually([this] {
        return set(kFirst, "Powered", true) && set(kSecond, "Powered", true) &&
               set(kSecond, "Discoverable", true);
    });
    if (!isUp) {
        throw std::runtime_error("BlueZ does not come up: " + error_ + "\n" +
                                 shell(std::string("cat ") + kLog).text);
    }
}

BlueZService::~BlueZService() {
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
    ::kill(daemon_, SIGTERM);
    ::waitpid(daemon_, nullptr, 0);
}

std::string BlueZService::pair(const BluetoothAddress& address) {
    constexpr const char* kDevice = "org.bluez.Device1";
    std::string device = kFirst;
    device += "/dev_" + text(address);
    std::replace(device.begin(), device.end(), ':', '_');
    const bool isPaired = call(kFirst, kAdapter, "StartDiscovery") &&
                          eventually([&] { return has(device, "Address"); }) &&
                          call(kFirst, kAdapter, "StopDiscovery") &&
                          call(device, kDevice, "Pair") &&
                          eventually([&] { return has(device, "Modalias"); });
    if (!isPaired) {
        return error_ + "\n" + shell(std::string("cat ") + kLog).text;
    }
    link_.emplace(connectService(address, kServiceDiscovery));
    return "";
}

bool BlueZService::call(const std::string& path, const char* interface, const char* method,
                        GVariant* arguments) {
    constexpr int kMilliseconds = 30'000;
    GError* error = nullptr;
    GVariant* const answer = g_dbus_connection_call_sync(
        connection_, "org.bluez", path.c_str(), interface, method, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, kMilliseconds, nullptr, &error);
    if (error != nullptr) {
        error_ = std::string(method) + ": " + error->message;
        g_error_free(error);
        return false;
    }
    g_variant_unref(answer);
    return true;
}

bool BlueZService::set(const std::string& path, const char* property, bool value) {
    return call(
        path, kProperties, "Set",
        g_variant_new("(ssv)", kAdapter, property, g_variant_new_boolean(value ? TRUE : FALSE)));
}

bool BlueZService::has(const std::string& device, const char* property) {
    return call(device, kProperties, "Get", g_variant_new("(ss)", "org.bluez.Device1", property));
}

}  // namespace velmaro::integration

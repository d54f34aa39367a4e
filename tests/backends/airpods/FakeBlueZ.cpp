#include "backends/airpods/FakeBlueZ.h"

#include <gio/gio.h>

#include <atomic>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace velmaro {
namespace {

constexpr const char* kDevice = "org.bluez.Device1";
constexpr const char* kObjects = "org.freedesktop.DBus.ObjectManager";

constexpr const char* kDescription = R"(
<node>
  <interface name='org.freedesktop.DBus.ObjectManager'>
    <method name='GetManagedObjects'>
      <arg type='a{oa{sa{sv}}}' direction='out'/>
    </method>
  </interface>
</node>)";

GVariant* properties(const FakeDevice& device) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&builder, "{sv}", "Address",
                          g_variant_new_string(device.address.c_str()));
    g_variant_builder_add(&builder, "{sv}", "Paired", g_variant_new_boolean(device.isPaired));
    g_variant_builder_add(&builder, "{sv}", "Connected", g_variant_new_boolean(device.isConnected));
    if (!device.modalias.empty()) {
        g_variant_builder_add(&builder, "{sv}", "Modalias",
                              g_variant_new_string(device.modalias.c_str()));
    }
    return g_variant_builder_end(&builder);
}

GVariant* interfaces(const FakeDevice& device) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sa{sv}}"));
    g_variant_builder_add(&builder, "{s@a{sv}}", kDevice, properties(device));
    return g_variant_builder_end(&builder);
}

}  // namespace

class FakeBlueZ::Service {
public:
    Service(const std::string& busAddress, const Devices& devices) : devices_(devices) {
        std::promise<bool> isThere;
        auto answer = isThere.get_future();
        thread_ = std::thread([&isThere, &busAddress, this] { run(busAddress, isThere); });
        if (!answer.get()) {
            thread_.join();
            throw std::runtime_error("the bus does not have the service");
        }
    }

    ~Service() {
        isEnding_ = true;
        g_main_context_wakeup(context_);
        thread_.join();
        g_main_context_unref(context_);
    }

    void set(const std::string& path, const FakeDevice& device) {
        bool isNew = false;
        {
            const std::lock_guard lock(mutex_);
            isNew = devices_.insert_or_assign(path, device).second;
        }
        if (isNew) {
            emit("/", kObjects, "InterfacesAdded",
                 g_variant_new("(o@a{sa{sv}})", path.c_str(), interfaces(device)));
        } else {
            emitChange(path, properties(device));
        }
    }

    void remove(const std::string& path) {
        {
            const std::lock_guard lock(mutex_);
            devices_.erase(path);
        }
        const char* const names[] = {kDevice, nullptr};
        emit("/", kObjects, "InterfacesRemoved", g_variant_new("(o^as)", path.c_str(), names));
    }

    void emitChange(const std::string& path, GVariant* changed) {
        const char* const none[] = {nullptr};
        emit(path.c_str(), "org.freedesktop.DBus.Properties", "PropertiesChanged",
             g_variant_new("(s@a{sv}^as)", kDevice, changed, none));
    }

    std::atomic<int> questions = 0;

private:
    void run(const std::string& busAddress, std::promise<bool>& isThere) {
        g_main_context_push_thread_default(context_);
        connection_ = g_dbus_connection_new_for_address_sync(
            busAddress.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        const bool succeeded = connection_ != nullptr && offer();
        isThere.set_value(succeeded);
        while (succeeded && !isEnding_) {
            g_main_context_iteration(context_, TRUE);
        }
        if (connection_ != nullptr) {
            g_dbus_connection_close_sync(connection_, nullptr, nullptr);
            g_object_unref(connection_);
        }
        while (g_main_context_iteration(context_, FALSE) != 0) {
        }
        g_main_context_pop_thread_default(context_);
    }

    bool offer() {
        static const GDBusInterfaceVTable table{
            [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant*,
               GDBusMethodInvocation* call,
               gpointer self) { static_cast<Service*>(self)->answer(call); },
            nullptr,
            nullptr,
            {}};
        GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kDescription, nullptr);
        const guint registration = g_dbus_connection_register_object(
            connection_, "/", node->interfaces[0], &table, this, nullptr, nullptr);
        g_dbus_node_info_unref(node);
        GVariant* const name = g_dbus_connection_call_sync(
            connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", "org.bluez", 0U), nullptr, G_DBUS_CALL_FLAGS_NONE,
            -1, nullptr, nullptr);
        if (name != nullptr) {
            g_variant_unref(name);
        }
        return registration != 0 && name != nullptr;
    }

    void answer(GDBusMethodInvocation* call) {
        ++questions;
        GVariantBuilder builder;
        g_variant_builder_init(&builder, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
        {
            const std::lock_guard lock(mutex_);
            for (const auto& [path, device] : devices_) {
                g_variant_builder_add(&builder, "{o@a{sa{sv}}}", path.c_str(), interfaces(device));
            }
        }
        g_dbus_method_invocation_return_value(
            call, g_variant_new("(@a{oa{sa{sv}}})", g_variant_builder_end(&builder)));
    }

    void emit(const char* path, const char* interface, const char* signal, GVariant* parameters) {
        g_dbus_connection_emit_signal(connection_, nullptr, path, interface, signal, parameters,
                                      nullptr);
    }

    std::mutex mutex_;
    Devices devices_;
    GMainContext* const context_ = g_main_context_new();
    GDBusConnection* connection_ = nullptr;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

FakeBlueZ::FakeBlueZ(const std::string& busAddress, const Devices& devices)
    : service_(std::make_unique<Service>(busAddress, devices)) {}

FakeBlueZ::~FakeBlueZ() = default;

void FakeBlueZ::set(const std::string& path, const FakeDevice& device) {
    service_->set(path, device);
}

void FakeBlueZ::remove(const std::string& path) {
    service_->remove(path);
}

void FakeBlueZ::tellOfSignalStrength(const std::string& path) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&builder, "{sv}", "RSSI", g_variant_new_int16(-60));
    service_->emitChange(path, g_variant_builder_end(&builder));
}

int FakeBlueZ::questions() const {
    return service_->questions;
}

}  // namespace velmaro

#include "backends/airpods/BlueZAirPods.h"

#include <gio/gio.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "backends/airpods/AirPodsModels.h"

namespace velmaro {
namespace {

constexpr const char* kBlueZ = "org.bluez";
constexpr const char* kDevice = "org.bluez.Device1";
constexpr const char* kObjects = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr int kPatience = 5000;

template <auto kFunction>
struct Release {
    template <typename Object>
    void operator()(Object* object) const {
        kFunction(object);
    }
};
template <typename Object>
using ObjectHandle = std::unique_ptr<Object, Release<g_object_unref>>;
using VariantHandle = std::unique_ptr<GVariant, Release<g_variant_unref>>;
using TextHandle = std::unique_ptr<char, Release<g_free>>;
using ContextHandle = std::unique_ptr<GMainContext, Release<g_main_context_unref>>;

std::string text(GVariant* properties, const char* name) {
    const char* value = nullptr;
    return g_variant_lookup(properties, name, "&s", &value) != 0 ? value : "";
}

bool isTrue(GVariant* properties, const char* name) {
    gboolean value = FALSE;
    return g_variant_lookup(properties, name, "b", &value) != 0 && value != FALSE;
}

Diagnostic found(const BluetoothAddress& address) {
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address[0], address[1],
                  address[2], address[3], address[4], address[5]);
    return {.kind = Diagnostic::Kind::hint,
            .subject = Diagnostic::Subject::headphones,
            .text = std::string("found AirPods at ") + text.data() +
                    "; their motion is experimental, see docs/headphones.md"};
}

/// The addresses of usable AirPods in the answer of BlueZ, in its order.
std::vector<BluetoothAddress> airPods(GVariant* answer) {
    std::vector<BluetoothAddress> found;
    const VariantHandle objects(g_variant_get_child_value(answer, 0));
    for (gsize i = 0; i < g_variant_n_children(objects.get()); ++i) {
        const VariantHandle object(g_variant_get_child_value(objects.get(), i));
        const VariantHandle interfaces(g_variant_get_child_value(object.get(), 1));
        const VariantHandle device(
            g_variant_lookup_value(interfaces.get(), kDevice, G_VARIANT_TYPE_VARDICT));
        if (!device || !isTrue(device.get(), "Connected") || !isTrue(device.get(), "Paired") ||
            !areHeadTrackingAirPods(text(device.get(), "Modalias"))) {
            continue;
        }
        if (const auto address = parseBluetoothAddress(text(device.get(), "Address"))) {
            found.push_back(*address);
        }
    }
    return found;
}

}  // namespace

/// All on the finder's thread, except `end`. Whatever BlueZ tells of, it is asked for everything
/// again, so that there is no second picture of its devices here to keep right.
class BlueZAirPods::Watch {
public:
    Watch(BlueZAirPods& finder, Diagnostics& diagnostics, std::optional<std::string> busAddress)
        : finder_(finder),
          diagnostics_(diagnostics),
          busAddress_(std::move(busAddress)),
          context_(g_main_context_new()),
          cancellable_(g_cancellable_new()) {}

    void run() {
        g_main_context_push_thread_default(context_.get());
        connect();
        if (connection_) {
            subscribe();
        } else {
            finder_.publish(std::nullopt);
        }
        while (!isEnding_) {
            g_main_context_iteration(context_.get(), TRUE);
        }
        disconnect();
        g_main_context_pop_thread_default(context_.get());
    }

    /// Any thread.
    void end() {
        isEnding_ = true;
        g_cancellable_cancel(cancellable_.get());
        g_main_context_wakeup(context_.get());
    }

private:
    void connect() {
        if (!busAddress_) {
            const TextHandle found(
                g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, cancellable_.get(), nullptr));
            if (!found) {
                return;
            }
            busAddress_ = found.get();
        }
        // Not the connection that a process shares: its end would be the end of the process.
        connection_.reset(g_dbus_connection_new_for_address_sync(
            busAddress_->c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, cancellable_.get(), nullptr));
    }

    void subscribe() {
        subscriptions_ = {listen(kObjects, "InterfacesAdded", nullptr),
                          listen(kObjects, "InterfacesRemoved", nullptr),
                          listen(kProperties, "PropertiesChanged", kDevice)};
        nameWatch_ = g_bus_watch_name_on_connection(
            connection_.get(), kBlueZ, G_BUS_NAME_WATCHER_FLAGS_NONE,
            [](GDBusConnection*, const char*, const char*, gpointer self) {
                static_cast<Watch*>(self)->ask();
            },
            [](GDBusConnection*, const char*, gpointer self) {
                static_cast<Watch*>(self)->conclude({});
            },
            this, nullptr);
    }

    guint listen(const char* interface, const char* signal, const char* firstArgument) {
        return g_dbus_connection_signal_subscribe(
            connection_.get(), kBlueZ, interface, signal, nullptr, firstArgument,
            G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const char*, const char*, const char*, const char*,
               GVariant* parameters,
               gpointer self) { static_cast<Watch*>(self)->handleChange(parameters); },
            this, nullptr);
    }

    void handleChange(GVariant* parameters) {
        // While it scans, BlueZ reports every change of a signal's strength.
        if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)")) != 0) {
            const VariantHandle changed(g_variant_get_child_value(parameters, 1));
            const auto has = [&](const char* name) {
                return VariantHandle(g_variant_lookup_value(changed.get(), name, nullptr)) !=
                       nullptr;
            };
            if (!has("Connected") && !has("Paired") && !has("Modalias")) {
                return;
            }
        }
        ask();
    }

    void ask() {
        if (isAsking_) {
            asksAgain_ = true;
            return;
        }
        isAsking_ = true;
        g_dbus_connection_call(
            connection_.get(), kBlueZ, "/", kObjects, "GetManagedObjects", nullptr,
            G_VARIANT_TYPE("(a{oa{sa{sv}}})"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kPatience,
            cancellable_.get(),
            [](GObject* connection, GAsyncResult* result, gpointer self) {
                const VariantHandle answer(
                    g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
                static_cast<Watch*>(self)->take(answer.get());
            },
            this);
    }

    void take(GVariant* answer) {
        isAsking_ = false;
        if (std::exchange(asksAgain_, false) && !isEnding_) {
            ask();
            return;
        }
        conclude(answer != nullptr ? airPods(answer) : std::vector<BluetoothAddress>());
    }

    void conclude(const std::vector<BluetoothAddress>& present) {
        const bool isStillThere =
            current_ && std::ranges::find(present, *current_) != present.end();
        if (!isStillThere) {
            current_ = present.empty() ? std::nullopt : std::optional(present.front());
        }
        if (current_ && current_ != reported_) {
            reported_ = current_;
            diagnostics_.report(found(*current_));
        }
        finder_.publish(current_);
    }

    void disconnect() {
        if (!connection_) {
            return;
        }
        g_bus_unwatch_name(nameWatch_);
        for (const guint subscription : subscriptions_) {
            g_dbus_connection_signal_unsubscribe(connection_.get(), subscription);
        }
        while (isAsking_) {
            g_main_context_iteration(context_.get(), TRUE);
        }
        g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
        while (g_main_context_iteration(context_.get(), FALSE) != 0) {
        }
        connection_.reset();
    }

    BlueZAirPods& finder_;
    Diagnostics& diagnostics_;
    std::optional<std::string> busAddress_;
    const ContextHandle context_;
    const ObjectHandle<GCancellable> cancellable_;
    std::atomic<bool> isEnding_ = false;
    ObjectHandle<GDBusConnection> connection_;
    std::vector<guint> subscriptions_;
    guint nameWatch_ = 0;
    bool isAsking_ = false;
    bool asksAgain_ = false;
    std::optional<BluetoothAddress> current_;
    std::optional<BluetoothAddress> reported_;
};

BlueZAirPods::BlueZAirPods(Diagnostics& diagnostics, std::optional<std::string> busAddress)
    : changed_(check(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      watch_(std::make_unique<Watch>(*this, diagnostics, std::move(busAddress))),
      thread_([this] {
          ::pthread_setname_np(::pthread_self(), "bluez");
          watch_->run();
      }) {}

BlueZAirPods::~BlueZAirPods() {
    watch_->end();
    thread_.join();
}

AirPodsFinding BlueZAirPods::find() {
    eventfd_t count = 0;
    ::eventfd_read(changed_.get(), &count);
    const std::lock_guard lock(mutex_);
    return finding_;
}

void BlueZAirPods::publish(const std::optional<BluetoothAddress>& address) {
    {
        const std::lock_guard lock(mutex_);
        if (finding_.isComplete && finding_.address == address) {
            return;
        }
        finding_ = {.isComplete = true, .address = address};
    }
    ::eventfd_write(changed_.get(), 1);
}

}  // namespace velmaro

#include "backends/airpods/BlueZAirPods.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cstdio>
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

using glib::VariantHandle;

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

BlueZAirPods::BlueZAirPods(Diagnostics& diagnostics, std::optional<std::string> busAddress)
    : diagnostics_(diagnostics),
      changed_(check(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      bus_("bluez", glib::BusThread::Bus::system, {.begin = [this] { begin(); }, .end = {}},
           std::move(busAddress)) {}

AirPodsFinding BlueZAirPods::find() {
    eventfd_t count = 0;
    ::eventfd_read(changed_.get(), &count);
    const std::lock_guard lock(mutex_);
    return finding_;
}

void BlueZAirPods::begin() {
    if (!bus_.isConnected()) {
        conclude({});
        return;
    }
    const auto listen = [this](const char* interface, const char* signal,
                               const char* firstArgument) {
        bus_.subscribe({.sender = kBlueZ,
                        .interface = interface,
                        .name = signal,
                        .firstArgument = firstArgument},
                       [this](GVariant* parameters) { handleChange(parameters); });
    };
    listen(kObjects, "InterfacesAdded", nullptr);
    listen(kObjects, "InterfacesRemoved", nullptr);
    listen(kProperties, "PropertiesChanged", kDevice);
    bus_.watchName(
        kBlueZ, [this] { ask(); }, [this] { conclude({}); });
}

void BlueZAirPods::handleChange(GVariant* parameters) {
    // While it scans, BlueZ reports every change of a signal's strength.
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sa{sv}as)")) != 0) {
        const VariantHandle changed(g_variant_get_child_value(parameters, 1));
        const auto has = [&](const char* name) {
            return VariantHandle(g_variant_lookup_value(changed.get(), name, nullptr)) != nullptr;
        };
        if (!has("Connected") && !has("Paired") && !has("Modalias")) {
            return;
        }
    }
    ask();
}

void BlueZAirPods::ask() {
    if (isAsking_) {
        asksAgain_ = true;
        return;
    }
    isAsking_ = true;
    bus_.call({kBlueZ, "/", kObjects, "GetManagedObjects"}, nullptr,
              {.replyType = "(a{oa{sa{sv}}})", .startsService = false, .milliseconds = kPatience},
              [this](GVariant* answer, const GError* /*error*/) { handleAnswer(answer); });
}

void BlueZAirPods::handleAnswer(GVariant* answer) {
    isAsking_ = false;
    if (std::exchange(asksAgain_, false)) {
        ask();
        return;
    }
    conclude(answer != nullptr ? airPods(answer) : std::vector<BluetoothAddress>());
}

void BlueZAirPods::conclude(const std::vector<BluetoothAddress>& present) {
    const bool isStillThere = current_ && std::ranges::find(present, *current_) != present.end();
    if (!isStillThere) {
        current_ = present.empty() ? std::nullopt : std::optional(present.front());
    }
    if (current_ && current_ != reported_) {
        reported_ = current_;
        diagnostics_.report(found(*current_));
    }
    {
        const std::lock_guard lock(mutex_);
        if (finding_.isComplete && finding_.address == current_) {
            return;
        }
        finding_ = {.isComplete = true, .address = current_};
    }
    ::eventfd_write(changed_.get(), 1);
}

}  // namespace velmaro

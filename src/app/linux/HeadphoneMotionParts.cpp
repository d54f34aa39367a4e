#include "app/linux/HeadphoneMotionParts.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "backends/airpods/AirPods.h"
#include "backends/airpods/BlueZAirPods.h"
#include "backends/airpods/BluetoothChannel.h"
#include "backends/hid/HeadTracker.h"
#include "backends/hid/HidrawSystem.h"
#include "backends/motion/MotionChooser.h"
#include "backends/motion/MotionThread.h"
#include "backends/replay/MotionFile.h"
#include "backends/replay/MotionRecorder.h"
#include "backends/replay/MotionReplay.h"
#include "backends/replay/NoHeadphoneMotion.h"
#include "backends/udp/UDPMotion.h"

namespace velmaro {
namespace {

/// For headphones that are already there to answer, so that they are among the first inputs.
constexpr std::chrono::milliseconds kPatience{1000};

using Source = std::unique_ptr<HeadphoneMotion>;

std::optional<std::uint16_t> listeningPort(const std::string& text) {
    std::uint16_t port = 0;
    const auto end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, port);
    const bool whole = read.ec == std::errc() && read.ptr == end;
    return whole && port > 0 ? std::optional(port) : std::nullopt;
}

std::string requireListeningPort(const std::string& text) {
    return listeningPort(text) ? "" : "'" + text + "' is no port: give a number from 1 to 65535";
}

std::string requireBluetoothAddress(const std::string& text) {
    return parseBluetoothAddress(text)
               ? ""
               : "'" + text + "' is no Bluetooth address: give it as in 00:11:22:AA:BB:CC";
}

constexpr const char* kMotionFile = "--motion-file";
constexpr const char* kMotionUDP = "--motion-udp";
constexpr const char* kMotionUDPBind = "--motion-udp-bind";
constexpr const char* kAirPodsAddress = "--airpods-address";

constexpr std::array kOptions{
    SourceOption{.name = kMotionFile,
                 .valueName = "FILE",
                 .description = "Replay recorded headphone motion as connected headphones"},
    SourceOption{.name = kMotionUDP,
                 .valueName = "PORT",
                 .description = "Be connected headphones while angles come to this UDP port",
                 .check = requireListeningPort,
                 .isAwaited = true},
    SourceOption{.name = kMotionUDPBind,
                 .valueName = "ADDR",
                 .description = "Receive them at this IP address of this machine",
                 .defaultValue = "127.0.0.1",
                 .needs = kMotionUDP},
    SourceOption{.name = kAirPodsAddress,
                 .valueName = "XX:XX:XX:XX:XX:XX",
                 .description = "Connect to paired AirPods by Bluetooth (experimental)",
                 .check = requireBluetoothAddress,
                 .isAwaited = true},
};

std::optional<std::string> valueOf(const LinuxPlatformOptions& options, const char* name) {
    const auto found = options.sourceValues.find(name);
    return found == options.sourceValues.end() ? std::nullopt : std::optional(found->second);
}

std::variant<Source, Error> replay(const LinuxPlatformOptions& options,
                                   std::function<void()> endPlayback) {
    auto track = readMotionFile(*valueOf(options, kMotionFile));
    if (auto* const error = std::get_if<Error>(&track)) {
        return std::move(*error);
    }
    return std::make_unique<MotionReplay>(
        std::get<MotionTrack>(std::move(track)),
        options.once ? MotionReplay::Ending::once : MotionReplay::Ending::loop,
        std::move(endPlayback));
}

Source airPods(std::unique_ptr<AirPodsFinder> finder, std::chrono::milliseconds patience) {
    return std::make_unique<MotionThread>(
        "airpods",
        std::make_unique<AirPods>(std::move(finder), connectAccessoryChannel,
                                  AngleSigns::fromEnvironment("VELMARO_AIRPODS_REVERSE")),
        patience);
}

std::variant<Source, Error> live(const LinuxPlatformOptions& options) {
    std::vector<Source> sources;
    sources.push_back(std::make_unique<MotionThread>(
        "head tracker", std::make_unique<HeadTracker>(std::make_unique<HidrawSystem>()),
        kPatience));
    const auto address = valueOf(options, kAirPodsAddress);
    const auto port = valueOf(options, kMotionUDP);
    if (address) {
        sources.push_back(
            airPods(std::make_unique<GivenAirPods>(*parseBluetoothAddress(*address)), {}));
    } else if (!port) {
        // Who names another tracker means that one.
        sources.push_back(airPods(std::make_unique<BlueZAirPods>(), kPatience));
    }
    if (port) {
        auto driver =
            UDPMotion::listen({.address = valueOf(options, kMotionUDPBind).value_or("127.0.0.1"),
                               .port = *listeningPort(*port),
                               .signs = AngleSigns::fromEnvironment("VELMARO_MOTION_UDP_REVERSE")});
        if (auto* const error = std::get_if<Error>(&driver)) {
            return std::move(*error);
        }
        sources.push_back(std::make_unique<MotionThread>(
            "motion udp", std::get<std::unique_ptr<UDPMotion>>(std::move(driver))));
    }
    return std::make_unique<MotionChooser>(std::move(sources));
}

}  // namespace

std::span<const SourceOption> motionSourceOptions() {
    return kOptions;
}

HeadphoneMotionParts makeHeadphoneMotion(const LinuxPlatformOptions& options,
                                         std::function<void()> endPlayback) {
    HeadphoneMotionParts parts;
    auto made =
        valueOf(options, kMotionFile) ? replay(options, std::move(endPlayback)) : live(options);
    if (auto* const error = std::get_if<Error>(&made)) {
        parts.error = std::move(*error);
        parts.door = std::make_unique<NoHeadphoneMotion>();
        return parts;
    }
    parts.door = std::get<Source>(std::move(made));
    if (options.recordMotion) {
        auto recorder = MotionRecorder::open(*options.recordMotion, *parts.door);
        if (auto* const error = std::get_if<Error>(&recorder)) {
            parts.error = std::move(*error);
        } else {
            parts.source = std::exchange(
                parts.door, std::get<std::unique_ptr<MotionRecorder>>(std::move(recorder)));
        }
    }
    return parts;
}

}  // namespace velmaro

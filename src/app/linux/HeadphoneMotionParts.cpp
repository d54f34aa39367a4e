#include "app/linux/HeadphoneMotionParts.h"

#include <chrono>
#include <utility>
#include <variant>
#include <vector>

#include "backends/airpods/AirPods.h"
#include "backends/airpods/BlueZAirPods.h"
#include "backends/airpods/BluetoothChannel.h"
#include "backends/hid/HeadTracker.h"
#include "backends/hid/HidrawSystem.h"
#include "backends/motion/LiveMotion.h"
#include "backends/motion/MotionChooser.h"
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

std::variant<Source, Error> replay(const LinuxPlatformOptions& options,
                                   std::function<void()> endPlayback) {
    auto track = readMotionFile(*options.motionFile);
    if (auto* const error = std::get_if<Error>(&track)) {
        return std::move(*error);
    }
    return std::make_unique<MotionReplay>(
        std::get<MotionTrack>(std::move(track)),
        options.once ? MotionReplay::Ending::once : MotionReplay::Ending::loop,
        std::move(endPlayback));
}

Source airPods(std::unique_ptr<AirPodsFinder> finder, std::chrono::milliseconds patience) {
    return std::make_unique<LiveMotion>(
        "airpods",
        std::make_unique<AirPods>(std::move(finder), connectAccessoryChannel,
                                  AngleSigns::fromEnvironment("VELMARO_AIRPODS_REVERSE")),
        patience);
}

std::variant<Source, Error> live(const LinuxPlatformOptions& options, DispatchQueue& mainQueue) {
    std::vector<Source> sources;
    sources.push_back(std::make_unique<LiveMotion>(
        "head tracker", std::make_unique<HeadTracker>(std::make_unique<HidrawSystem>()),
        kPatience));
    if (options.airPodsAddress) {
        const auto address = parseBluetoothAddress(*options.airPodsAddress);
        if (!address) {
            const std::string text = "'" + *options.airPodsAddress + "' is no Bluetooth address";
            return Error{.description = text, .localizedDescription = text};
        }
        sources.push_back(airPods(std::make_unique<GivenAirPods>(*address), {}));
    } else if (!options.motionUDPPort) {
        // Who names another tracker means that one.
        sources.push_back(airPods(std::make_unique<BlueZAirPods>(), kPatience));
    }
    if (options.motionUDPPort) {
        auto driver =
            UDPMotion::listen({.address = options.motionUDPAddress,
                               .port = *options.motionUDPPort,
                               .signs = AngleSigns::fromEnvironment("VELMARO_MOTION_UDP_REVERSE")});
        if (auto* const error = std::get_if<Error>(&driver)) {
            return std::move(*error);
        }
        sources.push_back(std::make_unique<LiveMotion>(
            "motion udp", std::get<std::unique_ptr<UDPMotion>>(std::move(driver))));
    }
    return std::make_unique<MotionChooser>(std::move(sources), mainQueue);
}

}  // namespace

HeadphoneMotionParts makeHeadphoneMotion(const LinuxPlatformOptions& options,
                                         DispatchQueue& mainQueue,
                                         std::function<void()> endPlayback) {
    HeadphoneMotionParts parts;
    auto made =
        options.motionFile ? replay(options, std::move(endPlayback)) : live(options, mainQueue);
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

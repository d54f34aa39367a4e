#include "backends/airpods/MotionSource.h"

#include <array>
#include <utility>

#include "backends/airpods/AirPods.h"
#include "backends/airpods/BlueZAirPods.h"
#include "backends/airpods/BluetoothChannel.h"

namespace velmaro {
namespace {

std::string check(const std::string& address) {
    return parseBluetoothAddress(address)
               ? ""
               : "'" + address + "' is no Bluetooth address: give it as in 00:11:22:AA:BB:CC";
}

constexpr std::array kOptions{
    SourceOption{.name = "--airpods-address",
                 .valueName = "XX:XX:XX:XX:XX:XX",
                 .description = "Connect to paired AirPods by Bluetooth (experimental)",
                 .check = check,
                 .choosesHeadphones = true,
                 .isAwaited = true},
};

Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    std::unique_ptr<AirPodsFinder> finder;
    std::chrono::milliseconds patience{0};
    if (const auto address = parseBluetoothAddress(setup.value(kOptions[0].name, ""))) {
        finder = std::make_unique<GivenAirPods>(*address);
    } else {
        finder = std::make_unique<BlueZAirPods>(setup.diagnostics);
        patience = kMotionPatience;
    }
    const auto signs = AngleSigns::fromEnvironment("VELMARO_AIRPODS_REVERSE", setup.diagnostics);
    return std::make_unique<MotionThread>(
        "airpods",
        std::make_unique<AirPods>(std::move(finder), connectAccessoryChannel, setup.diagnostics,
                                  signs),
        patience);
}

}  // namespace

const MotionSource& airpodsMotionSource() {
    static constexpr MotionSource kSource{.options = kOptions, .findsItself = true, .make = make};
    return kSource;
}

}  // namespace velmaro

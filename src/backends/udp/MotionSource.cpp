#include "backends/udp/MotionSource.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

#include "backends/motion/MotionThread.h"
#include "backends/udp/UDPMotion.h"

namespace velmaro {
namespace {

std::optional<std::uint16_t> parseListeningPort(const std::string& text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, port);
    const bool isWhole = read.ec == std::errc() && read.ptr == end;
    return isWhole && port > 0 ? std::optional(port) : std::nullopt;
}

std::string checkPort(const std::string& text) {
    return parseListeningPort(text) ? ""
                                    : "'" + text + "' is no port: give a number from 1 to 65535";
}

constexpr const char* kPort = "--motion-udp";
constexpr const char* kAddress = "--motion-udp-bind";
constexpr const char* kLoopback = "127.0.0.1";

constexpr std::array kOptions{
    SourceOption{.name = kPort,
                 .valueName = "PORT",
                 .description = "Be connected headphones while angles come to this UDP port",
                 .check = checkPort,
                 .choosesHeadphones = true,
                 .isAwaited = true},
    SourceOption{.name = kAddress,
                 .valueName = "ADDR",
                 .description = "Receive them at this IP address of this machine",
                 .defaultValue = kLoopback,
                 .needs = kPort},
};

Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    auto driver = UDPMotion::listen(
        {.address = setup.value(kAddress, kLoopback),
         .port = parseListeningPort(setup.value(kPort, "")).value_or(0),
         .signs = AngleSigns::fromEnvironment("VELMARO_MOTION_UDP_REVERSE", setup.diagnostics)});
    if (!driver) {
        return tl::unexpected(driver.error());
    }
    return std::make_unique<MotionThread>("motion udp", std::move(*driver));
}

}  // namespace

const MotionSource& udpMotionSource() {
    static constexpr MotionSource kSource{.options = kOptions, .make = make};
    return kSource;
}

}  // namespace velmaro

#include "app/ProgramOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "app/OutputOptions.h"
#include "osc/OSCManager.h"

namespace velmaro {
namespace {

std::string requirePort(const std::string& text) {
    return parsePort(text) ? "" : "'" + text + "' is no port: give a number from 0 to 65535";
}

std::string requireListeningPort(const std::string& text) {
    const auto port = parsePort(text);
    return port && *port > 0 ? "" : "'" + text + "' is no port: give a number from 1 to 65535";
}

std::string requireAscii(const std::string& text) {
    const bool ascii = std::all_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x80;
    });
    return ascii ? "" : "'" + text + "' is no OSC address: use ASCII characters only";
}

std::string requireHost(const std::string& text) {
    return text.empty() ? "the address is empty: give a host name or an IP address" : "";
}

/// Decimal, as everybody reads it: "030" is thirty.
template <typename Number>
std::optional<Number> decimal(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    Number number{};
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool whole = read.ec == std::errc() && read.ptr == end;
    return whole ? std::optional(number) : std::nullopt;
}

std::string requireDuration(const std::string& text) {
    const auto seconds = decimal<double>(text);
    const bool usable = seconds && std::isfinite(*seconds) && *seconds > 0 && *seconds < 1e9;
    return usable ? "" : "'" + text + "' is no duration: give seconds, more than 0";
}

std::string requireRate(const std::string& text) {
    const bool usable = decimal<std::int64_t>(text).value_or(0) > 0;
    return usable ? "" : "'" + text + "' is no rate: give messages a second, 1 or more";
}

std::string requireRotation(const std::string& text) {
    const int degrees = decimal<int>(text).value_or(0);
    const bool usable = degrees == 90 || degrees == 180 || degrees == 270;
    return usable ? "" : "'" + text + "' is no turn of a picture: give 90, 180 or 270";
}

/// Only what is given is stored: the sources know their own defaults.
void addSourceOptions(CLI::App& app, std::span<const SourceOption> sourceOptions,
                      Options& options) {
    for (const SourceOption& each : sourceOptions) {
        CLI::Option* const option = app.add_option_function<std::string>(
            each.name,
            [&options, &each](const std::string& value) {
                options.sourceValues[each.name] = value;
                options.choosesHeadphones |= each.choosesHeadphones;
                options.awaitsHeadphones |= each.isAwaited;
            },
            each.description);
        option->type_name(each.valueName)->default_str(each.defaultValue);
        if (each.check != nullptr) {
            option->check(each.check);
        }
    }
    for (const SourceOption& each : sourceOptions) {
        CLI::Option* const option = app.get_option(each.name);
        if (*each.needs != '\0') {
            option->needs(app.get_option(each.needs));
        }
        for (const SourceOption& other : sourceOptions) {
            if (each.standsAlone && &other != &each && *other.needs == '\0') {
                option->excludes(app.get_option(other.name));
            }
        }
    }
}

void addSources(CLI::App& app, std::span<const SourceOption> sourceOptions, Options& options) {
    app.add_flag("--list-inputs", options.listInputs,
                 "Print one line per source (its id, a tab, its label) and exit");
    app.add_option("--input", options.input,
                   "Choose a source (default: the first available, or the headphones if an option "
                   "stands for them)")
        ->type_name("ID");
    app.add_option("--camera-file", options.cameraFiles,
                   "Add a video or picture as a camera; looped, at its own pace (repeatable)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_flag("--once", options.once, "Stop when the file ends instead of looping");
    addSourceOptions(app, sourceOptions, options);
    app.add_option("--record-motion", options.recordMotion,
                   "Record the headphones' motion into a new file")
        ->type_name("FILE");
    app.add_flag("--demo", options.demo, "Use the built-in demonstration clip as the camera");
}

void addOrientation(CLI::App& app, CameraOrientation& orientation) {
    app.add_option_function<std::string>(
           "--rotate",
           [&orientation](const std::string& text) {
               orientation.rotation = decimal<int>(text).value_or(0);
           },
           "Turn a camera's picture clockwise, since the camera hangs askew")
        ->type_name("90|180|270")
        ->check(requireRotation);
    app.add_flag("--mirror", orientation.mirrored,
                 "Exchange left and right of a camera's picture, since the camera mirrors it");
}

void addDestination(CLI::App& app, Options& options) {
    app.add_option("--ip", options.ipAddress, "Send to this host")
        ->type_name("A")
        ->check(requireHost)
        ->capture_default_str();
    app.add_option("--port", options.port, "Send to this UDP port")
        ->type_name("P")
        ->check(requirePort)
        ->capture_default_str();
    app.add_option("--osc", options.oscMessage, "Send under this OSC address")
        ->type_name("ADDRESS")
        ->check(requireAscii)
        ->capture_default_str();
    app.add_option_function<std::string>(
           "--rate",
           [&options](const std::string& text) {
               options.frameRate = decimal<std::int64_t>(text).value_or(options.frameRate);
           },
           "Send at most this many messages a second")
        ->type_name("N")
        ->check(requireRate)
        ->default_str(std::to_string(options.frameRate));
}

void addRest(CLI::App& app, Options& options) {
    app.add_flag("!--no-tilt", options.tiltEnabled, "Start with tilt off");
    app.add_flag("--quaternion", options.quaternionOutput, "Send quaternions instead of angles");
    auto* const controlPort =
        app.add_option("--control-port", options.controlPort,
                       "Take /velmaro/set and /velmaro/reset by OSC at this UDP port")
            ->type_name("P")
            ->check(requireListeningPort);
    app.add_option("--control-bind", options.controlAddress,
                   "Take them at this IP address of this machine")
        ->type_name("ADDR")
        ->needs(controlPort)
        ->capture_default_str();
    app.add_flag("--start", options.start, "(window) Start tracking at once");
    if (options.program == Program::terminal) {
        app.add_option_function<std::string>(
               "--duration",
               [&options](const std::string& text) { options.duration = decimal<double>(text); },
               "Stop after this time")
            ->type_name("SECONDS")
            ->check(requireDuration);
        app.add_flag("--stats", options.statistics,
                     "Print frames, datagrams, delay and cost once a second to standard error");
    }
}

void addConfiguration(CLI::App& app, Options& options, bool& isLeftAlone) {
    app.add_flag("--quiet", options.quiet,
                 "Leave the lines of each frame and each sample out of the log");
    app.add_flag("--allow-idle", options.allowsIdle,
                 "Let the desktop dim and lock the screen while tracking");
    auto* const config = app.add_option("--config", options.configuration,
                                        "Take from this file what is kept, instead of "
                                        "velmaro/velmaro.toml")
                             ->type_name("FILE");
    app.add_flag("--no-config", isLeftAlone, "Begin without what is kept")->excludes(config);
    app.add_flag("--forget-pose", options.forgetsPose,
                 "Remove the stored rest pose of the headphones, and go on");
    app.add_flag("--save", options.save, "Keep these options for the next starts, and go on");
}

}  // namespace

void addProgramOptions(CLI::App& app, std::span<const SourceOption> sourceOptions, Options& options,
                       bool& isConfigurationLeftAlone) {
    addSources(app, sourceOptions, options);
    addOrientation(app, options.cameraOrientation);
    addDestination(app, options);
    addRest(app, options);
    addOutputOptions(app, options);
    addConfiguration(app, options, isConfigurationLeftAlone);
}

}  // namespace velmaro

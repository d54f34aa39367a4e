#include "app/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>

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

std::string requireDuration(const std::string& text) {
    double seconds = 0;
    const bool usable = CLI::detail::lexical_cast(text, seconds) && std::isfinite(seconds) &&
                        seconds > 0 && seconds < 1e9;
    return usable ? "" : "'" + text + "' is no duration: give seconds, more than 0";
}

std::string requireRate(const std::string& text) {
    std::int64_t rate = 0;
    const bool usable = CLI::detail::lexical_cast(text, rate) && rate > 0;
    return usable ? "" : "'" + text + "' is no rate: give messages a second, 1 or more";
}

/// Only what is given is stored: the sources know their own defaults.
void addSourceOptions(CLI::App& app, std::span<const SourceOption> sourceOptions,
                      SourceValues& values) {
    for (const SourceOption& each : sourceOptions) {
        CLI::Option* const option = app.add_option_function<std::string>(
            each.name,
            [&values, name = each.name](const std::string& value) { values[name] = value; },
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
    app.add_option("--input", options.input, "Choose a source (default: the first available)")
        ->type_name("ID");
    app.add_option("--camera-file", options.cameraFiles,
                   "Add a video or picture as a camera; looped, at its own pace (repeatable)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_flag("--once", options.once, "Stop when the file ends instead of looping");
    addSourceOptions(app, sourceOptions, options.sourceValues);
    app.add_option("--record-motion", options.recordMotion,
                   "Record the headphones' motion into a new file")
        ->type_name("FILE");
    app.add_flag("--demo", options.demo, "Use the built-in demonstration clip as the camera");
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
    app.add_option("--rate", options.frameRate, "Send at most this many messages a second")
        ->type_name("N")
        ->check(requireRate)
        ->capture_default_str();
}

void addRest(CLI::App& app, Program program, Options& options) {
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
    if (program == Program::terminal) {
        app.add_option("--duration", options.duration, "Stop after this time")
            ->type_name("SECONDS")
            ->check(requireDuration);
        app.add_flag("--stats", options.statistics,
                     "Print frames, datagrams, delay and cost once a second to standard error");
    }
}

constexpr const char* kFooter =
    "\nSignals: SIGUSR1 makes the current pose the zero pose, SIGUSR2 resets it; SIGINT and "
    "SIGTERM\n"
    "stop. Exit status: 0 done, 1 could not run, 2 wrong usage.";

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace

const char* programName(Program program) {
    return program == Program::window ? "velmaro" : "velmaro-cli";
}

tl::expected<Options, ExitStatus> parseCommandLine(Program program,
                                                   std::span<const SourceOption> sourceOptions,
                                                   int argc, const char* const* argv) {
    Options options;
    CLI::App app("Streams where your head points as Open Sound Control over UDP.",
                 programName(program));
    app.set_version_flag("--version", std::string(programName(program)) + " " VELMARO_VERSION,
                         "Print the version and exit");
    app.set_help_flag("--help", "Print this help and exit");
    app.footer(kFooter);
    app.get_formatter()->column_width(28);
    addSources(app, sourceOptions, options);
    addDestination(app, options);
    addRest(app, program, options);
    addOutputOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        app.exit(success, std::cout, std::cerr);
        return tl::unexpected(ExitStatus::success);
    } catch (const CLI::ParseError& error) {
        std::cerr << programName(program) << ": " << oneLine(error.what()) << " (see --help)\n";
        return tl::unexpected(ExitStatus::wrongUsage);
    }
    return options;
}

}  // namespace velmaro

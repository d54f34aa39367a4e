#include "app/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string_view>
#include <system_error>
#include <utility>

#include "app/Configuration.h"
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

constexpr const char* kFooter =
    "\nSignals: SIGUSR1 makes the current pose the zero pose, SIGUSR2 resets it; SIGINT and "
    "SIGTERM\n"
    "stop. Exit status: 0 done, 1 could not run, 2 wrong usage.";

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// The same file twice is one camera.
void forgetRepeatedFiles(std::vector<std::string>& files) {
    std::vector<std::string> once;
    for (std::string& file : files) {
        if (std::ranges::find(once, file) == once.end()) {
            once.push_back(std::move(file));
        }
    }
    files = std::move(once);
}

/// Whether all of standard output has been written, such as the help.
ExitStatus written(Program program) {
    if (std::cout.flush()) {
        return ExitStatus::success;
    }
    std::cerr << programName(program) << ": the answer could not be written\n";
    return ExitStatus::couldNotRun;
}

/// A command line that can be read once, and what was read.
struct CommandLine {
    CommandLine(Program program, std::span<const SourceOption> sourceOptions)
        : app("Streams where your head points as Open Sound Control over UDP.",
              programName(program)) {
        options.program = program;
        app.set_version_flag("--version", std::string(programName(program)) + " " VELMARO_VERSION,
                             "Print the version and exit");
        app.set_help_flag("--help", "Print this help and exit");
        app.footer(kFooter);
        app.get_formatter()->column_width(28);
        addSources(app, sourceOptions, options);
        addDestination(app, options);
        addRest(app, program, options);
        addOutputOptions(app, options);
        addConfiguration(app, options, isConfigurationLeftAlone);
    }
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    void parse(std::vector<std::string> arguments) {
        // The library's own order.
        std::ranges::reverse(arguments);
        app.parse(std::move(arguments));
        forgetRepeatedFiles(options.cameraFiles);
    }

    /// Whether it says something else than what is kept under that name.
    [[nodiscard]] bool overrides(const std::string& name) const {
        const CLI::Option& option = *app.get_option("--" + name);
        const bool isExcluded = std::ranges::any_of(
            option.get_excludes(), [](const CLI::Option* other) { return other->count() > 0; });
        const bool namesSource =
            options.demo || !options.cameraFiles.empty() || options.choosesHeadphones;
        return option.count() > 0 || isExcluded || (name == "input" && namesSource) ||
               // A receiver comes with its own.
               ((name == "port" || name == "osc") && app.count("--receiver") > 0);
    }

    Options options;
    bool isConfigurationLeftAlone = false;
    CLI::App app;
};

/// What the file keeps, all of which a command line takes.
Result<std::vector<KeptOption>> readKept(const CommandLine& given) {
    const std::filesystem::path& file = given.options.configuration;
    // A listing is the same whatever is kept.
    if (given.isConfigurationLeftAlone || given.options.listInputs || file.empty()) {
        return std::vector<KeptOption>();
    }
    std::error_code ignored;
    if (given.app.count("--config") > 0 && !given.options.save &&
        !std::filesystem::exists(file, ignored)) {
        return failure("there is no such file");
    }
    auto kept = readConfiguration(file);
    if (kept) {
        if (const auto checked = checkKept(*kept); !checked) {
            return tl::unexpected(checked.error());
        }
    }
    return kept;
}

/// The options of the command line and, where it does not speak, of the file.
tl::expected<Options, ExitStatus> withKept(CommandLine& given,
                                           std::span<const SourceOption> sourceOptions,
                                           const std::vector<std::string>& arguments) {
    Options& options = given.options;
    auto kept = readKept(given);
    if (!kept) {
        const std::string text = options.configuration.string() + ": " + kept.error().description;
        if (options.program == Program::terminal) {
            std::cerr << programName(options.program) << ": " << text
                      << " (mend it, or leave it out with --no-config)\n";
            return tl::unexpected(ExitStatus::wrongUsage);
        }
        options.configurationError = text;
        return options;
    }
    std::erase_if(*kept, [&given](const KeptOption& each) { return given.overrides(each.name); });
    std::vector<std::string> all = velmaro::arguments(*kept);
    all.insert(all.end(), arguments.begin(), arguments.end());
    CommandLine whole(options.program, sourceOptions);
    whole.parse(std::move(all));
    whole.options.configuration = options.configuration;
    whole.options.isInputKept = std::ranges::find(*kept, "input", &KeptOption::name) != kept->end();
    return whole.options;
}

}  // namespace

const char* programName(Program program) {
    return program == Program::window ? "velmaro" : "velmaro-cli";
}

Result<void> checkKept(std::span<const KeptOption> kept) {
    try {
        CommandLine(Program::terminal, {}).parse(arguments(kept));
    } catch (const CLI::ParseError& error) {
        const std::string text = oneLine(error.what());
        return failure(text.starts_with("--") ? text.substr(2) : text);
    }
    return {};
}

tl::expected<Options, ExitStatus> parseCommandLine(Program program,
                                                   std::span<const SourceOption> sourceOptions,
                                                   int argc, const char* const* argv,
                                                   const std::filesystem::path& configuration) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    CommandLine given(program, sourceOptions);
    try {
        given.parse(arguments);
        if (given.app.count("--config") == 0) {
            given.options.configuration = configuration;
        }
        return withKept(given, sourceOptions, arguments);
    } catch (const CLI::Success& success) {
        given.app.exit(success, std::cout, std::cerr);
        return tl::unexpected(written(program));
    } catch (const CLI::ParseError& error) {
        std::cerr << programName(program) << ": " << oneLine(error.what()) << " (see --help)\n";
        return tl::unexpected(ExitStatus::wrongUsage);
    }
}

}  // namespace velmaro

#include "app/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <system_error>
#include <utility>

#include "app/Configuration.h"
#include "app/ProgramOptions.h"

namespace velmaro {
namespace {

constexpr const char* kFooter =
    "\nSignals: SIGUSR1 makes the current pose the zero pose, SIGUSR2 resets it; SIGINT and "
    "SIGTERM\n"
    "stop. Exit status: 0 done, 1 could not run, 2 wrong usage.";

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
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
        addProgramOptions(app, sourceOptions, options, isConfigurationLeftAlone);
    }
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    void parse(std::vector<std::string> arguments) {
        // The library's own order.
        std::ranges::reverse(arguments);
        app.parse(std::move(arguments));
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

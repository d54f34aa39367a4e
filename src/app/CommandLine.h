#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <tl/expected.hpp>
#include <vector>

#include "platform/PixelBuffer.h"
#include "platform/Result.h"
#include "platform/SourceOption.h"
#include "receivers/ReceiverNetwork.h"

namespace velmaro {

/// How a program of ours ends.
enum class ExitStatus {
    success = 0,
    /// No such source, no permission, an unreadable file.
    couldNotRun = 1,
    wrongUsage = 2,
};

/// The two programs that share one command line.
enum class Program { window, terminal };

/// What the command line asked for.
struct Options {
    Program program = Program::terminal;
    bool listInputs = false;
    /// An `InputSource::id`; absent means the first available source.
    std::optional<std::string> input;
    /// It was kept, so that it may be away today.
    bool isInputKept = false;
    std::vector<std::string> cameraFiles;
    bool once = false;
    /// What was given for the options of the sources of headphone motion.
    SourceValues sourceValues;
    /// One of them means the headphones, unless a source is named.
    bool choosesHeadphones = false;
    /// One of them promises headphones that may come later.
    bool awaitsHeadphones = false;
    std::optional<std::string> recordMotion;
    bool demo = false;
    CameraOrientation cameraOrientation;
    std::string ipAddress = "127.0.0.1";
    std::string port = "8000";
    std::string oscMessage = "/ypr";
    std::int64_t frameRate = 30;
    bool tiltEnabled = true;
    bool quaternionOutput = false;
    /// As they were given; `output` holds what they mean.
    std::string receiver;
    std::string flip;
    /// What becomes of each message on its way.
    Output output;
    /// Where requests come by OSC; absent means nowhere.
    std::optional<std::uint16_t> controlPort;
    std::string controlAddress = "127.0.0.1";
    bool start = false;
    /// Seconds.
    std::optional<double> duration;
    bool statistics = false;
    /// The lines of each frame and each sample are left out of the log.
    bool quiet = false;
    /// The desktop may take the person for absent while tracking.
    bool allowsIdle = false;
    /// Where options are kept; empty if the user has no place for it.
    std::filesystem::path configuration;
    /// Why what is kept there is not heeded, if it cannot be.
    std::optional<std::string> configurationError;
    /// The stored rest pose of the headphones is removed before anything reads it.
    bool forgetsPose = false;
    /// These options are to be kept.
    bool save = false;
};

struct KeptOption;

/// Reads the command line, which has the options of the sources beside those of the program, and
/// what is kept in the file that it names, or else in `configuration`, where the command line does
/// not speak. Gives the exit status instead when the program has nothing more to do: help and
/// version were printed to standard output, or what is wrong to standard error, in one line. A
/// window is opened whatever is wrong with the file.
[[nodiscard]] tl::expected<Options, ExitStatus> parseCommandLine(
    Program program, std::span<const SourceOption> sourceOptions, int argc, const char* const* argv,
    const std::filesystem::path& configuration = {});

/// Fails with one line that names the option if a command line would not take it.
[[nodiscard]] Result<void> checkKept(std::span<const KeptOption> kept);

/// The name under which a program speaks on standard error.
[[nodiscard]] const char* programName(Program program);

}  // namespace velmaro

#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "app/CommandLine.h"
#include "platform/Result.h"

namespace velmaro {

/// An option that a person chose to keep, by its name without dashes, and what was given for it.
struct KeptOption {
    std::string name;
    std::vector<std::string> values;

    bool operator==(const KeptOption&) const = default;
};

/// What the file holds: a command line, written down as lines like `port = 9000`. Empty if there is
/// no such file. Fails with one line that names what is wrong in it, but knows nothing of the
/// values.
[[nodiscard]] Result<std::vector<KeptOption>> readConfiguration(const std::filesystem::path& file);

/// The same as arguments of a program.
[[nodiscard]] std::vector<std::string> arguments(std::span<const KeptOption> kept);

/// The file's whole text for the next start to begin with what of `options` can be kept. Fails
/// naming the option if a value could not be read again.
[[nodiscard]] Result<std::string> configurationText(const Options& options);

/// Whether that source is a file that plays a camera, or the demonstration. Other options bring
/// these, so that they are not kept.
[[nodiscard]] bool isFileInput(const std::string& inputId);

}  // namespace velmaro

#pragma once

#include <map>
#include <string>

namespace velmaro {

/// An option of the command line that a source of headphone motion brings along. Made of literals,
/// so that a source declares its options as constants.
struct SourceOption {
    /// With its dashes: "--motion-file".
    const char* name;
    /// What the help calls its value.
    const char* valueName;
    /// One phrase for the help.
    const char* description;
    /// Gives what is wrong with a value and how to mend it; an empty text if it will do.
    std::string (*check)(const std::string& value) = nullptr;
    /// Shown in the help; empty if leaving the option out means something else than any value.
    const char* defaultValue = "";
    /// Another source option without which this one means nothing; empty if there is none.
    const char* needs = "";
    /// Contradicts every other source option that needs none.
    bool standsAlone = false;
    /// Who gives this option means the headphones, unless a source is named.
    bool choosesHeadphones = false;
    /// With this option the headphones may come later than the program, which then waits for them.
    bool isAwaited = false;
};

/// What was given for the source options, by name. What was left out is not in it.
using SourceValues = std::map<std::string, std::string, std::less<>>;

}  // namespace velmaro

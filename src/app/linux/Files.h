#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmaro {

/// Why the first unreadable one of `files` cannot be read; empty if all can.
[[nodiscard]] std::optional<std::string> unreadable(const std::vector<std::string>& files);

/// The file that standard output goes to, which holds the log; empty if it goes elsewhere.
[[nodiscard]] std::optional<std::filesystem::path> logFile();

}  // namespace velmaro

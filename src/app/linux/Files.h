#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velmaro {

/// Why the first unreadable one of `files` cannot be read; empty if all can.
[[nodiscard]] std::optional<std::string> unreadable(const std::vector<std::string>& files);

}  // namespace velmaro

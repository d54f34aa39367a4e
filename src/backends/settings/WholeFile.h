#pragma once

#include <filesystem>
#include <string_view>

#include "platform/Result.h"

namespace velmaro {

/// Puts a whole new file that holds `bytes`, and that only the user can read, in the place of
/// `file`, or of what `file` leads to if it is a link. Whatever happens, even the end of the
/// process in the middle of it, the earlier content is there or the new one. Blocks until it is on
/// the disk. Fails without the folder, or with what the system says.
[[nodiscard]] Result<void> replaceFile(const std::filesystem::path& file, std::string_view bytes);

/// Removes `file`, or what it leads to if it is a link, which stays one. All is well if it is not
/// there.
[[nodiscard]] Result<void> removeFile(const std::filesystem::path& file);

/// Removes all new files that a killed process left in a folder that is the program's alone.
void removeAbandonedFiles(const std::filesystem::path& folder);

/// Makes a folder that is not there yet, and those that lead to it, for the user alone. Fails with
/// what the system says, or naming a link on the way that leads nowhere.
[[nodiscard]] Result<void> makeFolder(const std::filesystem::path& folder);

}  // namespace velmaro

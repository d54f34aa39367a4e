#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/Diagnostics.h"
#include "platform/Result.h"
#include "platform/UserDefaults.h"

namespace velmaro {

/// Settings as files of the user, one per key, in one folder that only the user can read.
///
/// A value is replaced whole and durably: whatever happens, even the end of the process in the
/// middle of it, the file holds the earlier value or the new one. Several processes may share the
/// folder; the last one to store wins. A file that is a link stays one: what it leads to is
/// replaced. Trouble is reported once, and the earlier value stays.
class SettingsStore : public UserDefaults {
public:
    /// `$XDG_CONFIG_HOME/velmaro`, or `~/.config/velmaro` where that variable is not an absolute
    /// path; empty if the user has no home.
    [[nodiscard]] static std::filesystem::path defaultFolder();

    /// Nothing is created before the first value is stored.
    explicit SettingsStore(Diagnostics& diagnostics,
                           std::filesystem::path folder = defaultFolder());

    /// Keys are up to 100 ASCII letters, digits, `-` and `_`. A value above 1 MiB is not read.
    [[nodiscard]] std::string data(std::string_view key) const override;

    /// Blocks until the value is on the disk.
    void setData(std::string_view key, std::string_view bytes) override;

private:
    [[nodiscard]] std::filesystem::path file(std::string_view key) const;

    [[nodiscard]] Result<void> store(std::string_view key, std::string_view bytes) const;
    void report(const std::string& text, const std::string& advice) const;

    Diagnostics& diagnostics_;
    const std::filesystem::path folder_;
    mutable bool isReadingReported_ = false;
    bool isWritingReported_ = false;
};

}  // namespace velmaro

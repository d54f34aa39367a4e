#pragma once

#include <string>
#include <string_view>

namespace velmaro {

/// The user's settings, kept between runs. Main thread only.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The bytes last stored under `key`; empty if nothing was stored or it cannot be read.
    [[nodiscard]] virtual std::string data(std::string_view key) const = 0;

    /// Stores `bytes` under `key`; none take the value away. If it cannot be written the earlier
    /// value stays.
    virtual void setData(std::string_view key, std::string_view bytes) = 0;
};

}  // namespace velmaro

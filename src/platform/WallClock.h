#pragma once

namespace velmaro {

/// Seconds since 1970-01-01 00:00 UTC on the wall clock, which may step in either direction.
using WallTime = double;

/// Earlier than any real time: 0001-01-01 00:00 UTC.
inline constexpr WallTime kDistantPast = -62'135'769'600.0;

class WallClock {
public:
    virtual ~WallClock() = default;

    /// The current time. Any thread; never fails.
    [[nodiscard]] virtual WallTime now() const = 0;
};

}  // namespace velmaro

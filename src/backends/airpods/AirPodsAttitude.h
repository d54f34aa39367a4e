#pragma once

#include <optional>

#include "backends/airpods/AirPodsPacket.h"
#include "backends/motion/AngleSigns.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Turns raw orientations into attitudes relative to the first one.
class AirPodsAttitude {
public:
    explicit AirPodsAttitude(const AngleSigns& signs = {}) : signs_(signs) {}

    /// Makes the next orientation the neutral one.
    void forget() { neutral_.reset(); }

    [[nodiscard]] CMQuaternion attitude(const AirPodsOrientation& orientation);

private:
    AngleSigns signs_;
    std::optional<AirPodsOrientation> neutral_;
};

}  // namespace velmaro

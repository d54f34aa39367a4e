#include "backends/airpods/AirPodsAttitude.h"

namespace velmaro {
namespace {

/// Counts of half a turn.
constexpr double kHalfTurn = 32'000;

}  // namespace

CMQuaternion AirPodsAttitude::attitude(const AirPodsOrientation& orientation) {
    if (!neutral_) {
        neutral_ = orientation;
    }
    std::array<double, 3> change{};
    for (std::size_t i = 0; i < change.size(); ++i) {
        // The counts wrap around, and so does their difference.
        change[i] =
            static_cast<std::int16_t>(static_cast<std::uint16_t>(orientation[i] - (*neutral_)[i]));
    }
    const double sum = (change[1] + change[2]) / 2;
    const double difference = (change[1] - change[2]) / 2;
    return attitudeFromAngles(signs_.yaw * difference / kHalfTurn * 180,
                              signs_.pitch * sum / kHalfTurn * 180,
                              signs_.roll * (change[0] - sum) / 2 / kHalfTurn * 180);
}

}  // namespace velmaro

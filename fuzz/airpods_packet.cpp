#include <cmath>

#include "Fuzz.h"
#include "backends/airpods/AirPodsAttitude.h"
#include "backends/airpods/AirPodsPacket.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    (void)isAirPodsHandshakeAnswer(input);
    if (const auto orientation = parseAirPodsMotion(input)) {
        AirPodsAttitude attitude;
        const CMQuaternion neutral = attitude.attitude({0, 0, 0});
        require(neutral.w == 1);
        const CMQuaternion q = attitude.attitude(*orientation);
        require(std::abs(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w - 1) < 1e-9);
    }
}

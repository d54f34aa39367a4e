#include <cmath>

#include "Fuzz.h"
#include "backends/udp/MotionPacket.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    if (const auto q = parseMotionPacket(input, {-1, 1, -1})) {
        require(input.size() == kMotionPacketSize);
        const double squaredLength = q->x * q->x + q->y * q->y + q->z * q->z + q->w * q->w;
        require(std::abs(squaredLength - 1) < 1e-9);
    }
}

// A device that lies in its descriptor, its features and its reports: the input is the length of a
// descriptor, the descriptor, and a report.

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "Fuzz.h"
#include "backends/hid/HeadTrackerLayout.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    if (input.empty()) {
        return;
    }
    const std::size_t length = std::min<std::size_t>(input[0], input.size() - 1);
    const auto report = input.subspan(1 + length);
    auto descriptor = parseHidReportDescriptor(input.subspan(1, length));
    if (!descriptor) {
        return;
    }
    const auto layout = HeadTrackerLayout::of(std::move(*descriptor));
    if (!layout) {
        return;
    }
    (void)layout->isHeadTracker(report);
    for (const auto& control : layout->controls()) {
        std::vector<std::uint8_t> bytes(control.size);
        require(!bytes.empty());
        bytes[0] = control.id;
        (void)layout->setStart(bytes, 0.04, report);
        (void)layout->setStop(bytes);
    }
    std::vector<std::uint8_t> copy(report.begin(), report.end());
    (void)layout->setStart(copy, 0.04, report);
    (void)layout->setStop(copy);
    if (const auto decoded = layout->decode(report)) {
        const CMQuaternion q = attitudeFromRotationVector(decoded->rotation);
        const double squaredLength = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
        require(std::abs(squaredLength - 1) < 1e-6);
    }
}

#include "backends/hid/HeadTrackerLayout.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

namespace velmaro {
namespace {

// Usages of the sensor page, as the protocol uses them.
constexpr HidUsage kHeadTracker = 0x2000E1;
constexpr HidUsage kDescription = 0x200308;
constexpr HidUsage kReportInterval = 0x20030E;
constexpr HidUsage kNoEvents = 0x200840;
constexpr HidUsage kAllEvents = 0x200841;
constexpr HidUsage kPowerOff = 0x200855;
constexpr HidUsage kFullPower = 0x200851;
constexpr HidUsage kRotation = 0x200544;
constexpr HidUsage kResetCounter = 0x200546;
constexpr HidUsage kTransportACL = 0x20F800;
constexpr HidUsage kTransportISO = 0x20F801;

constexpr std::string_view kMarker = "#AndroidHeadTracker#";

std::optional<HidField> copy(const HidField* field) {
    return field == nullptr ? std::nullopt : std::optional(*field);
}

}  // namespace

std::optional<HeadTrackerLayout> HeadTrackerLayout::of(HidReportDescriptor descriptor) {
    const auto feature = [&](HidUsage usage) {
        return descriptor.find(HidReportKind::feature, usage, kHeadTracker);
    };
    const HidField* const description = feature(kDescription);
    const HidField* const rotation = descriptor.find(HidReportKind::input, kRotation, kHeadTracker);
    if (description == nullptr || description->bitSize != 8 || rotation == nullptr ||
        !rotation->isVariable || rotation->count < 3) {
        return std::nullopt;
    }
    HeadTrackerLayout layout;
    layout.description_ = *description;
    layout.rotation_ = *rotation;
    layout.resetCounter_ = copy(descriptor.find(HidReportKind::input, kResetCounter, kHeadTracker));
    layout.reporting_ = copy(feature(kAllEvents));
    layout.power_ = copy(feature(kFullPower));
    layout.interval_ = copy(feature(kReportInterval));
    layout.transport_ = copy(feature(kTransportACL));
    if (!layout.transport_) {
        layout.transport_ = copy(feature(kTransportISO));
    }
    layout.descriptor_ = std::move(descriptor);
    return layout;
}

template <typename Byte>
std::span<Byte> HeadTrackerLayout::body(std::span<Byte> report) const {
    return descriptor_.hasReportIDs || report.empty() ? report : report.subspan(1);
}

HeadTrackerLayout::FeatureReport HeadTrackerLayout::featureReport(std::uint8_t id) const {
    const std::size_t size = descriptor_.reportSize(HidReportKind::feature, id);
    return {id, descriptor_.hasReportIDs ? size : size + 1};
}

HeadTrackerLayout::FeatureReport HeadTrackerLayout::description() const {
    return featureReport(description_.reportID);
}

bool HeadTrackerLayout::isHeadTracker(std::span<const std::uint8_t> description) const {
    if (description.empty() || description[0] != description_.reportID) {
        return false;
    }
    const auto bytes = body(description);
    for (std::uint32_t i = 0; i < kMarker.size(); ++i) {
        if (description_.read(bytes, i) != kMarker[i]) {
            return false;
        }
    }
    // Versions 1 and 2 are known; a later one need not keep the meaning of its fields.
    const auto version = description_.read(bytes, kMarker.size());
    return version == '1' || version == '2';
}

std::vector<HeadTrackerLayout::FeatureReport> HeadTrackerLayout::controls() const {
    std::vector<FeatureReport> reports;
    for (const auto* const field : {&transport_, &reporting_, &power_, &interval_}) {
        if (!*field) {
            continue;
        }
        const std::uint8_t id = (*field)->reportID;
        if (std::none_of(reports.begin(), reports.end(),
                         [id](const FeatureReport& report) { return report.id == id; })) {
            reports.push_back(featureReport(id));
        }
    }
    return reports;
}

bool HeadTrackerLayout::choose(std::span<std::uint8_t> control,
                               const std::optional<HidField>& field, HidUsage choice) const {
    if (control.empty()) {
        return false;
    }
    if (!field || field->isVariable || control[0] != field->reportID) {
        return true;
    }
    const auto index = field->indexOf(choice);
    return !index || field->write(body(control), 0, field->logicalMinimum + *index);
}

bool HeadTrackerLayout::setStart(std::span<std::uint8_t> control, double interval,
                                 std::span<const std::uint8_t> description) const {
    if (transport_) {
        // The marker of version 2 ends in the sum of 1 for ACL and 2 for ISO. ACL is what ordinary
        // reports come over.
        const auto supported = description_.read(body(description), kMarker.size() + 4);
        const bool onlyISO = supported && *supported == '2';
        if (!choose(control, transport_, onlyISO ? kTransportISO : kTransportACL)) {
            return false;
        }
    }
    if (interval_ && !control.empty() && control[0] == interval_->reportID &&
        !interval_->write(body(control), 0, interval_->toLogical(interval))) {
        return false;
    }
    return choose(control, reporting_, kAllEvents) && choose(control, power_, kFullPower);
}

bool HeadTrackerLayout::setStop(std::span<std::uint8_t> control) const {
    return choose(control, reporting_, kNoEvents) && choose(control, power_, kPowerOff);
}

std::optional<HeadTrackerReport> HeadTrackerLayout::decode(
    std::span<const std::uint8_t> report) const {
    if (descriptor_.hasReportIDs && (report.empty() || report[0] != rotation_.reportID)) {
        return std::nullopt;
    }
    const auto first = rotation_.indexOf(kRotation).value_or(0);
    HeadTrackerReport result;
    for (std::uint32_t i = 0; i < result.rotation.size(); ++i) {
        const auto value = rotation_.read(report, first + i);
        if (!value || *value < rotation_.logicalMinimum || *value > rotation_.logicalMaximum) {
            return std::nullopt;
        }
        result.rotation[i] = rotation_.toPhysical(*value);
    }
    if (resetCounter_ && resetCounter_->reportID == rotation_.reportID) {
        if (const auto count = resetCounter_->read(report, 0)) {
            result.resetCounter = static_cast<std::uint8_t>(*count);
        }
    }
    return result;
}

CMQuaternion attitudeFromRotationVector(const RotationVector& rotation) {
    const double angle = std::hypot(rotation[0], rotation[1], rotation[2]);
    // Near no turn at all the quotient loses its digits and tends to a half.
    const double k = angle < 1e-6 ? 0.5 : std::sin(angle / 2) / angle;
    return {rotation[0] * k, rotation[1] * k, rotation[2] * k, std::cos(angle / 2)};
}

}  // namespace velmaro

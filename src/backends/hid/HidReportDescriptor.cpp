#include "backends/hid/HidReportDescriptor.h"

#include <algorithm>

namespace velmaro {

std::size_t HidReportDescriptor::reportSize(HidReportKind kind, std::uint8_t reportID) const {
    std::size_t bits = 0;
    for (const HidField& field : fields) {
        if (field.kind == kind && field.reportID == reportID) {
            bits = std::max(bits, field.bitOffset + std::size_t{field.bitSize} * field.count);
        }
    }
    return (bits + 7) / 8;
}

const HidField* HidReportDescriptor::find(HidReportKind kind, HidUsage usage,
                                          HidUsage application) const {
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const HidField& field) {
        return field.kind == kind && field.application == application && field.indexOf(usage);
    });
    return found == fields.end() ? nullptr : &*found;
}

}  // namespace velmaro

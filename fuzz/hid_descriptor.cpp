#include <array>

#include "Fuzz.h"
#include "backends/hid/HidReportDescriptor.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    const auto result = parseHidReportDescriptor(input);
    if (!result) {
        require(!result.error().description.empty());
        return;
    }
    const HidReportDescriptor* const descriptor = &*result;
    for (const HidField& field : descriptor->fields) {
        const std::size_t size = descriptor->reportSize(field.kind, field.reportID);
        // Not cleared from run to run: what stands in it matters less than speed.
        static std::array<std::uint8_t, 16384> longest{0xA5};
        require(size <= longest.size());
        const auto report = std::span(longest).first(size);
        require(!field.read(report, field.count));
        (void)field.indexOf(0x200544);
        if (field.count > 0 && field.bitSize > 0 && field.bitSize <= 32) {
            const auto value = field.read(report, field.count - 1);
            require(value.has_value());
            require(field.write(report, field.count - 1, *value));
            require(field.read(report, field.count - 1) == value);
            (void)field.toPhysical(*value);
            (void)field.toLogical(0.04);
        }
    }
}

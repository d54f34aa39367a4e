#include "Fuzz.h"
#include "backends/control/ControlPacket.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    std::size_t requests = 0;
    readControlPacket({reinterpret_cast<const char*>(input.data()), input.size()},
                      [&requests](ControlRequest) { ++requests; });
    // The shortest message that asks for something: an address, without type tags.
    require(requests <= input.size() / 16);
}

#include "osc/OSCMessage.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>

namespace velmaro {

namespace {

/// The size of a text field: the text, a terminator that is always there, and zeros up to the next
/// multiple of four.
constexpr std::size_t fieldSize(std::size_t textLength) {
    return (textLength / 4 + 1) * 4;
}

std::byte* writeAddress(std::byte* out, std::string_view address) {
    std::byte everyBit{0};
    for (std::size_t i = 0; i < address.size(); ++i) {
        out[i] = static_cast<std::byte>(address[i]);
        everyBit |= out[i];
    }
    if (everyBit >= std::byte{0x80}) {
        std::abort();  // GCOVR_EXCL_LINE: tested, but what aborts leaves no counts.
    }
    return out + fieldSize(address.size());
}

std::byte* writeTypeTags(std::byte* out, std::size_t count) {
    out[0] = std::byte{','};
    std::fill_n(out + 1, count, std::byte{'f'});
    return out + fieldSize(1 + count);
}

std::byte* writeBigEndian(std::byte* out, float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (int shift = 24; shift >= 0; shift -= 8) {
        *out++ = static_cast<std::byte>(bits >> shift);
    }
    return out;
}

}  // namespace

std::pmr::vector<std::byte> createOSCMessage(std::string_view address,
                                             std::span<const float> values,
                                             std::pmr::memory_resource* memory) {
    // All zeros at first, so that terminators and padding need no writing.
    std::pmr::vector<std::byte> message(
        fieldSize(address.size()) + fieldSize(1 + values.size()) + sizeof(float) * values.size(),
        memory);

    std::byte* out = writeAddress(message.data(), address);
    out = writeTypeTags(out, values.size());
    for (const float value : values) {
        out = writeBigEndian(out, value);
    }
    return message;
}

}  // namespace velmaro

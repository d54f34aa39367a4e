#include "receivers/SentMessage.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <memory_resource>

#include "osc/OSCMessage.h"

namespace velmaro {
namespace {

/// Room for a message with a long address; a longer one takes the heap.
constexpr std::size_t kMessageBufferSize = 256;

constexpr std::string_view kTags = ",ffff";
constexpr std::array<std::string_view, kAxes> kAxisNames{"yaw", "pitch", "roll"};

/// The text at the start of `bytes`, whose field is then taken off; nothing if it does not end.
std::optional<std::string_view> takeText(std::span<const std::byte>& bytes) {
    const auto end = std::ranges::find(bytes, std::byte{0});
    const auto length = static_cast<std::size_t>(end - bytes.begin());
    const std::size_t field = (length / 4 + 1) * 4;
    if (field > bytes.size()) {
        return std::nullopt;
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), length);
    bytes = bytes.subspan(field);
    return text;
}

float bigEndianFloat(std::span<const std::byte, 4> bytes) {
    std::uint32_t bits = 0;
    for (const std::byte byte : bytes) {
        bits = bits << 8 | std::to_integer<std::uint32_t>(byte);
    }
    return std::bit_cast<float>(bits);
}

std::string axisAddress(std::string_view address, Axis axis) {
    constexpr std::string_view kAll = "/ypr";
    if (address.ends_with(kAll)) {
        address.remove_suffix(kAll.size());
    }
    return std::string(address).append("/").append(kAxisNames[static_cast<std::size_t>(axis)]);
}

}  // namespace

std::optional<SentMessage> readMessage(std::span<const std::byte> datagram) {
    const auto address = takeText(datagram);
    const auto tags = address ? takeText(datagram) : std::nullopt;
    if (!tags || tags->size() < 4 || !kTags.starts_with(*tags) ||
        datagram.size() != (tags->size() - 1) * 4) {
        return std::nullopt;
    }
    SentMessage message{.address = *address, .count = tags->size() - 1};
    for (std::size_t i = 0; i < message.count; ++i) {
        message.values[i] = bigEndianFloat(datagram.subspan(4 * i).first<4>());
    }
    return message;
}

void writeMessage(std::string_view address, std::span<const float> values,
                  const DatagramHandler& handler) {
    std::array<std::byte, kMessageBufferSize> buffer;
    std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
    handler(createOSCMessage(address, values, &memory));
}

void writeMessages(std::string_view address, std::span<const float, kAxes> angles,
                   const Conversion& conversion, const DatagramHandler& handler) {
    const ConvertedValues values = convert(angles, conversion);
    if (conversion.form != Conversion::Form::split) {
        writeMessage(address, values.span(), handler);
        return;
    }
    for (std::size_t i = 0; i < values.count; ++i) {
        writeMessage(axisAddress(address, conversion.order[i]), values.span().subspan(i, 1),
                     handler);
    }
}

}  // namespace velmaro

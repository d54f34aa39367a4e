#include "backends/airpods/AirPodsPacket.h"

#include <algorithm>
#include <cstddef>
#include <protozero/pbf_message.hpp>

namespace velmaro {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::array<std::uint8_t, 16> kHandshake{0x00, 0x00, 0x04, 0x00, 0x01, 0x00, 0x02, 0x00};
constexpr std::array<std::uint8_t, 4> kHandshakeAnswer{0x01, 0x00, 0x04, 0x00};
constexpr std::array<std::uint8_t, 10> kNotifications{0x04, 0x00, 0x04, 0x00, 0x0F,
                                                      0x00, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr std::array<std::uint8_t, 28> kStart14{
    0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00, 0x10, 0x00, 0x08, 0xA1,
    0x02, 0x42, 0x0B, 0x08, 0x0E, 0x10, 0x02, 0x1A, 0x05, 0x01, 0x40, 0x9C, 0x00, 0x00};
constexpr std::array<std::uint8_t, 27> kStart16{
    0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00, 0x0F, 0x00, 0x08, 0x73,
    0x42, 0x0B, 0x08, 0x10, 0x10, 0x02, 0x1A, 0x05, 0x01, 0x40, 0x9C, 0x00, 0x00};
constexpr std::array<std::uint8_t, 29> kStop14{
    0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00, 0x11, 0x00, 0x08, 0x7E, 0x10,
    0x02, 0x42, 0x0B, 0x08, 0x4E, 0x10, 0x02, 0x1A, 0x05, 0x01, 0x00, 0x00, 0x00, 0x00};
constexpr std::array<std::uint8_t, 27> kStop16{
    0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00, 0x0F, 0x00, 0x08, 0x75,
    0x42, 0x0B, 0x08, 0x10, 0x10, 0x02, 0x1A, 0x05, 0x01, 0x00, 0x00, 0x00, 0x00};

/// What a packet with a message of the sensor services begins with: the opcode, then 0x00100000.
constexpr std::array<std::uint8_t, 10> kEnvelope{0x04, 0x00, 0x04, 0x00, 0x17,
                                                 0x00, 0x00, 0x00, 0x10, 0x00};
/// The fields that are read of the message in the envelope, and of the command in it.
enum class MessageField : protozero::pbf_tag_type { command = 7 };
enum class CommandField : protozero::pbf_tag_type { service = 1, payload = 3 };

using protozero::pbf_message;
using protozero::pbf_wire_type;

/// Of the payload, in bytes.
constexpr std::size_t kOrientationOffset = 20;
/// A flag in some messages' service numbers.
constexpr std::uint64_t kServiceMask = 0x3F;

bool startsWith(Bytes packet, Bytes beginning) {
    return packet.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), packet.begin());
}

std::uint16_t word(Bytes bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
}

/// The motion in a command of a motion service.
std::optional<AirPodsOrientation> orientation(pbf_message<CommandField> command) {
    std::uint64_t service = 0;
    Bytes payload;
    while (command.next()) {
        switch (command.tag_and_type()) {
            case protozero::tag_and_type(CommandField::service, pbf_wire_type::varint):
                service = command.get_uint64() & kServiceMask;
                break;
            case protozero::tag_and_type(CommandField::payload, pbf_wire_type::length_delimited): {
                const protozero::data_view view = command.get_view();
                payload = {reinterpret_cast<const std::uint8_t*>(view.data()), view.size()};
                break;
            }
            default:
                command.skip();
        }
    }
    const bool isMotion = service == static_cast<std::uint64_t>(AirPodsService::motion14) ||
                          service == static_cast<std::uint64_t>(AirPodsService::motion16);
    AirPodsOrientation counts{};
    if (!isMotion || payload.size() < kOrientationOffset + 2 * counts.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < counts.size(); ++i) {
        counts[i] = word(payload, kOrientationOffset + 2 * i);
    }
    return counts;
}

}  // namespace

std::span<const std::uint8_t> airPodsHandshake() {
    return kHandshake;
}

std::span<const std::uint8_t> airPodsNotifications() {
    return kNotifications;
}

std::span<const std::uint8_t> airPodsStart(AirPodsService service) {
    return service == AirPodsService::motion14 ? Bytes(kStart14) : Bytes(kStart16);
}

std::span<const std::uint8_t> airPodsStop(AirPodsService service) {
    return service == AirPodsService::motion14 ? Bytes(kStop14) : Bytes(kStop16);
}

bool isAirPodsHandshakeAnswer(std::span<const std::uint8_t> packet) {
    return startsWith(packet, kHandshakeAnswer);
}

std::optional<AirPodsOrientation> parseAirPodsMotion(std::span<const std::uint8_t> packet) {
    constexpr std::size_t kHeader = kEnvelope.size() + 2;
    if (!startsWith(packet, kEnvelope) || packet.size() < kHeader) {
        return std::nullopt;
    }
    const std::size_t length = word(packet, kEnvelope.size());
    if (length > packet.size() - kHeader) {
        return std::nullopt;
    }
    // Some messages end in two bytes that are no field: the command before them still counts.
    try {
        pbf_message<MessageField> message(
            reinterpret_cast<const char*>(packet.subspan(kHeader).data()), length);
        if (message.next(MessageField::command, pbf_wire_type::length_delimited)) {
            return orientation(message.get_message());
        }
    } catch (const protozero::exception&) {
        return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace velmaro

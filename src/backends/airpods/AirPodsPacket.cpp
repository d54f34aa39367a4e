#include "backends/airpods/AirPodsPacket.h"

#include <algorithm>
#include <cstddef>

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
constexpr std::uint64_t kCommandField = 7;
constexpr std::uint64_t kServiceField = 1;
constexpr std::uint64_t kPayloadField = 3;
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

/// A Protocol Buffers message, field by field.
class Message {
public:
    struct Field {
        std::uint64_t number = 0;
        /// Of a variable-length integer.
        std::uint64_t integer = 0;
        /// Of a length-delimited field.
        Bytes bytes;
    };

    explicit Message(Bytes bytes) : rest_(bytes) {}

    /// The next field, or nothing at the end or where the bytes make no sense any more.
    std::optional<Field> next() {
        const auto key = integer();
        if (!key) {
            return std::nullopt;
        }
        Field field{.number = *key >> 3U, .integer = 0, .bytes = {}};
        switch (*key & 7U) {
            case 0:
                if (const auto value = integer()) {
                    field.integer = *value;
                    return field;
                }
                return std::nullopt;
            case 1:
                return taken(field, 8);
            case 2:
                if (const auto length = integer()) {
                    return taken(field, *length);
                }
                return std::nullopt;
            case 5:
                return taken(field, 4);
            default:
                return std::nullopt;
        }
    }

private:
    std::optional<std::uint64_t> integer() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 64 && !rest_.empty(); shift += 7) {
            const std::uint8_t byte = rest_.front();
            rest_ = rest_.subspan(1);
            value |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80) {
                return value;
            }
        }
        rest_ = {};
        return std::nullopt;
    }

    std::optional<Field> taken(Field field, std::uint64_t length) {
        if (length > rest_.size()) {
            rest_ = {};
            return std::nullopt;
        }
        field.bytes = rest_.first(static_cast<std::size_t>(length));
        rest_ = rest_.subspan(static_cast<std::size_t>(length));
        return field;
    }

    Bytes rest_;
};

/// The motion in a command of a motion service.
std::optional<AirPodsOrientation> orientation(Bytes command) {
    Message message(command);
    std::uint64_t service = 0;
    Bytes payload;
    while (const auto field = message.next()) {
        if (field->number == kServiceField) {
            service = field->integer & kServiceMask;
        } else if (field->number == kPayloadField) {
            payload = field->bytes;
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
    Message message(packet.subspan(kHeader, length));
    while (const auto field = message.next()) {
        if (field->number == kCommandField) {
            return orientation(field->bytes);
        }
    }
    return std::nullopt;
}

}  // namespace velmaro

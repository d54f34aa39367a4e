#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace velmaro {

using Bytes = std::vector<std::uint8_t>;

inline void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// A payload of a motion service, whose counts start at byte 20.
inline Bytes motionPayload(const std::array<std::uint16_t, 3>& counts) {
    Bytes payload(58, 0x11);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        payload[20 + 2 * i] = static_cast<std::uint8_t>(counts[i]);
        payload[21 + 2 * i] = static_cast<std::uint8_t>(counts[i] >> 8);
    }
    return payload;
}

/// A message in its envelope.
inline Bytes enveloped(const Bytes& message) {
    Bytes packet{0x04, 0x00, 0x04, 0x00, 0x17, 0x00, 0x00, 0x00, 0x10, 0x00};
    packet.push_back(static_cast<std::uint8_t>(message.size()));
    packet.push_back(static_cast<std::uint8_t>(message.size() >> 8));
    append(packet, message);
    return packet;
}

/// `sequence` as it is encoded, with its key.
inline Bytes motionPacket(const std::array<std::uint16_t, 3>& counts, std::uint8_t service = 14,
                          const Bytes& sequence = {0x08, 0xA1, 0x02}) {
    Bytes command{0x08, service, 0x1A, 58};
    append(command, motionPayload(counts));
    Bytes message = sequence;
    append(message, {0x10, 0x02, 0x3A, static_cast<std::uint8_t>(command.size())});
    append(message, command);
    return enveloped(message);
}

}  // namespace velmaro

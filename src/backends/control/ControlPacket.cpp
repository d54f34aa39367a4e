#include "backends/control/ControlPacket.h"

#include <arpa/inet.h>
#include <oscpack/osc/OscReceivedElements.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace velmaro {
namespace {

using Handler = std::function<void(ControlRequest)>;

bool isLetGo(const osc::ReceivedMessage& message) {
    if (message.ArgumentCount() == 0) {
        return false;
    }
    const osc::ReceivedMessageArgument argument = *message.ArgumentsBegin();
    return (argument.IsFloat() && argument.AsFloat() == 0) ||
           (argument.IsDouble() && argument.AsDouble() == 0) ||
           (argument.IsInt32() && argument.AsInt32() == 0) ||
           (argument.IsBool() && !argument.AsBool());
}

/// The request that a message's address and what follows it in its field stand for.
std::optional<ControlRequest> requestOf(std::string_view content) {
    constexpr std::string_view kSet("/velmaro/set\0\0\0\0", 16);
    constexpr std::string_view kReset("/velmaro/reset\0\0", 16);
    if (content.starts_with(kSet)) {
        return ControlRequest::setOffset;
    }
    return content.starts_with(kReset) ? std::optional(ControlRequest::resetOffset) : std::nullopt;
}

/// The library believes the length that a blob gives, and reads beyond the packet.
bool holdsBlob(std::string_view content) {
    const std::string_view tags = content.substr(16);
    return tags.substr(0, tags.find('\0')).find('b') != std::string_view::npos;
}

osc::ReceivedMessage messageOf(std::string_view content) {
    return osc::ReceivedMessage(osc::ReceivedPacket(
        content.data(), static_cast<osc::osc_bundle_element_size_t>(content.size())));
}

/// Takes the size of a bundle's next element from the front, a big-endian number.
std::size_t takeSize(std::string_view& bundle) {
    std::uint32_t size = 0;
    if (bundle.size() < sizeof size) {
        throw osc::MalformedBundleException();
    }
    std::memcpy(&size, bundle.data(), sizeof size);
    bundle.remove_prefix(sizeof size);
    return ntohl(size);
}

/// Bundles are taken apart here: the library never comes to the end of one that holds an element of
/// -4 bytes.
void read(std::string_view packet, const Handler& handler) {
    if (!packet.starts_with(std::string_view("#bundle\0", 8))) {
        const std::optional<ControlRequest> request = requestOf(packet);
        if (request && !holdsBlob(packet) && !isLetGo(messageOf(packet))) {
            handler(*request);
        }
        return;
    }
    constexpr std::size_t kNameAndTime = 16;
    packet.remove_prefix(std::min(kNameAndTime, packet.size()));
    while (!packet.empty()) {
        const std::size_t size = takeSize(packet);
        if (size > packet.size()) {
            throw osc::MalformedBundleException();
        }
        read(packet.substr(0, size), handler);
        packet.remove_prefix(size);
    }
}

}  // namespace

void readControlPacket(std::span<const char> packet, const Handler& handler) {
    if (packet.size() > kLongestControlPacket) {
        return;
    }
    try {
        read({packet.data(), packet.size()}, handler);
    } catch (const osc::Exception&) {
        // Anybody may send anything here; the rest of this packet means nothing.
    }
}

}  // namespace velmaro

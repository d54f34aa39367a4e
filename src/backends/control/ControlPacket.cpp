#include "backends/control/ControlPacket.h"

#include <oscpack/osc/OscReceivedElements.h>

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

/// A packet, or an element of a bundle.
template <typename Element>
void read(const Element& element, const Handler& handler) {
    if (element.IsBundle()) {
        const osc::ReceivedBundle bundle(element);
        for (auto each = bundle.ElementsBegin(); each != bundle.ElementsEnd(); ++each) {
            read(*each, handler);
        }
        return;
    }
    const std::string_view content(element.Contents(), static_cast<std::size_t>(element.Size()));
    const std::optional<ControlRequest> request = requestOf(content);
    if (request && !holdsBlob(content) && !isLetGo(osc::ReceivedMessage(element))) {
        handler(*request);
    }
}

}  // namespace

void readControlPacket(std::span<const char> packet, const Handler& handler) {
    if (packet.size() > kLongestControlPacket) {
        return;
    }
    try {
        read(osc::ReceivedPacket(packet.data(),
                                 static_cast<osc::osc_bundle_element_size_t>(packet.size())),
             handler);
    } catch (const osc::Exception&) {
        // Anybody may send anything here; the rest of this packet means nothing.
    }
}

}  // namespace velmaro

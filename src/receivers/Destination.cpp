#include "receivers/Destination.h"

#include <algorithm>

#include "osc/OSCManager.h"

namespace velmaro {
namespace {

bool isAscii(std::string_view text) {
    return std::ranges::all_of(
        text, [](char character) { return static_cast<unsigned char>(character) < 0x80; });
}

}  // namespace

Result<Destination> parseDestination(std::string_view text) {
    const auto refusal = failure("'" + std::string(text) +
                                 "' is no receiver: give IP:PORT or IP:PORT/ADDRESS, as in "
                                 "127.0.0.1:9000/ypr or [::1]:9000");
    const std::string_view place = text.substr(0, text.find('/'));
    const std::string_view address = text.substr(place.size());
    const std::size_t colon = place.rfind(':');
    if (colon == std::string_view::npos || address == "/" || !isAscii(address)) {
        return refusal;
    }
    std::string_view host = place.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find_first_of("[]:") != std::string_view::npos) {
        return refusal;
    }
    const auto port = parsePort(place.substr(colon + 1));
    if (host.empty() || !port || *port == 0) {
        return refusal;
    }
    return Destination{std::string(host), *port, std::string(address)};
}

}  // namespace velmaro

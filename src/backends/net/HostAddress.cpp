#include "backends/net/HostAddress.h"

#include <netdb.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "backends/net/HostLookups.h"

namespace velmaro {

namespace {

struct Lookup {
    int status = 0;
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> results{nullptr, &freeaddrinfo};
};

Lookup lookUp(const std::string& host, int flags) {
    Lookup lookup;
    // The system would read no further than a zero byte.
    if (host.find('\0') != std::string::npos) {
        lookup.status = EAI_NONAME;
        return lookup;
    }
    addrinfo hints{};
    hints.ai_flags = flags;
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* results = nullptr;
    lookup.status = getaddrinfo(host.c_str(), nullptr, &hints, &results);
    lookup.results.reset(results);
    return lookup;
}

std::string describeLookup(int status) {
    return status == EAI_SYSTEM ? std::system_category().message(errno) : gai_strerror(status);
}

}  // namespace

std::optional<asio::ip::udp::endpoint> parseAddress(const std::string& text, Port port) {
    const Lookup lookup = lookUp(text, AI_NUMERICHOST);
    if (lookup.status != 0) {
        return std::nullopt;
    }
    asio::ip::udp::endpoint endpoint;
    std::memcpy(endpoint.data(), lookup.results->ai_addr, lookup.results->ai_addrlen);
    endpoint.resize(lookup.results->ai_addrlen);
    endpoint.port(port.rawValue);
    return endpoint;
}

HostAddresses resolveHostName(const std::string& host) {
    const Lookup lookup = lookUp(host, 0);
    if (lookup.status != 0) {
        return failure(describeLookup(lookup.status));
    }
    std::vector<std::string> addresses;
    for (const addrinfo* each = lookup.results.get(); each != nullptr; each = each->ai_next) {
        std::array<char, NI_MAXHOST> text;
        if (getnameinfo(each->ai_addr, each->ai_addrlen, text.data(), text.size(), nullptr, 0,
                        NI_NUMERICHOST) == 0) {
            addresses.emplace_back(text.data());
        }
    }
    return addresses;
}

}  // namespace velmaro

#include "backends/net/HostLookups.h"

#include <pthread.h>

#include <system_error>
#include <thread>
#include <utility>

namespace velmaro {

Result<void> HostLookups::lookUp(const std::string& host,
                                 const std::weak_ptr<HostLookupClient>& client) {
    const std::lock_guard lock(mutex_);
    const auto [entry, isNew] = underWay_.try_emplace(host);
    auto& clients = entry->second;
    std::erase_if(clients, [](const auto& each) { return each.expired(); });
    clients.push_back(client);
    if (!isNew) {
        return {};
    }
    // The system's resolver cannot be interrupted and may take many seconds, which nobody is to
    // wait for, not even the end of the process. So the thread is detached and owns what it needs.
    try {
        std::thread([self = shared_from_this(), host] {
            pthread_setname_np(pthread_self(), "resolver");
            self->run(host);
        }).detach();
    } catch (const std::system_error& error) {
        underWay_.erase(entry);
        return failure(error.code().message());
    }
    return {};
}

void HostLookups::run(const std::string& host) {
    const HostAddresses addresses = resolver_(host);
    for (const auto& each : takeClients(host)) {
        if (const auto client = each.lock()) {
            client->hostResolved(addresses);
        }
    }
}

std::vector<std::weak_ptr<HostLookupClient>> HostLookups::takeClients(const std::string& host) {
    const std::lock_guard lock(mutex_);
    return std::move(underWay_.extract(host).mapped());
}

}  // namespace velmaro

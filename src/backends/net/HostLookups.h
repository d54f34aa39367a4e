#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace velmaro {

/// The addresses of a host name, as numeric texts, or why there are none.
using HostAddresses = Result<std::vector<std::string>>;

/// Finds them. It may block for long, on a thread that nobody waits for: it must use nothing that
/// the program's end destroys.
using HostResolver = std::function<HostAddresses(const std::string& host)>;

/// Asks the system: its hosts file, then its name servers.
[[nodiscard]] HostAddresses resolveHostName(const std::string& host);

/// Wants the addresses of one name.
class HostLookupClient {
public:
    virtual ~HostLookupClient() = default;
    /// Called at most once for each look-up, on a thread of its own.
    virtual void hostResolved(const HostAddresses& addresses) = 0;
};

/// The look-ups under way, at most one for each name, however many want to know it: a resolver that
/// hangs costs one thread and not one with every restart.
class HostLookups : public std::enable_shared_from_this<HostLookups> {
public:
    /// Owned by a shared pointer, which a look-up under way shares.
    explicit HostLookups(HostResolver resolver) : resolver_(std::move(resolver)) {}

    /// Tells `client` as soon as the name is resolved, if it still lives then. Fails where the
    /// system has no thread for it. Any thread; never waits for the resolver.
    Result<void> lookUp(const std::string& host, const std::weak_ptr<HostLookupClient>& client);

private:
    void run(const std::string& host);
    [[nodiscard]] std::vector<std::weak_ptr<HostLookupClient>> takeClients(const std::string& host);

    const HostResolver resolver_;
    std::mutex mutex_;
    std::map<std::string, std::vector<std::weak_ptr<HostLookupClient>>> underWay_;
};

}  // namespace velmaro

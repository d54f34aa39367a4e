#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velmaro {

struct Notification {
    std::string name;
    /// Who posted it; compared by address only.
    const void* object = nullptr;
    std::map<std::string, std::any> userInfo;
};

/// Named notifications with an object. Observers are held weakly: one that no longer exists is
/// skipped and forgotten.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    /// Calls `handler` for every later notification of that name, from any object if `object` is
    /// null, as long as `observer` lives. Any thread. Handlers run in the order they were added.
    void addObserver(std::weak_ptr<void> observer, std::string name, const void* object,
                     Handler handler);

    /// Calls the matching handlers on the current thread before it returns. Any thread.
    void post(const Notification& notification);

private:
    struct Registration {
        std::weak_ptr<void> observer;
        std::string name;
        const void* object;
        std::shared_ptr<const Handler> handler;
    };

    std::mutex mutex_;
    std::vector<Registration> registrations_;
};

}  // namespace velmaro

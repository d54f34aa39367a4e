#include "platform/NotificationCenter.h"

#include <utility>

namespace velmaro {

void NotificationCenter::addObserver(std::weak_ptr<void> observer, std::string name,
                                     const void* object, Handler handler) {
    const std::lock_guard lock(mutex_);
    registrations_.push_back({std::move(observer), std::move(name), object,
                              std::make_shared<const Handler>(std::move(handler))});
}

void NotificationCenter::post(const Notification& notification) {
    std::vector<Registration> matching;
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(registrations_,
                      [](const Registration& each) { return each.observer.expired(); });
        for (const Registration& each : registrations_) {
            if (each.name == notification.name &&
                (each.object == nullptr || each.object == notification.object)) {
                matching.push_back(each);
            }
        }
    }
    // Outside the lock: a handler may add observers or post in its turn.
    for (const Registration& each : matching) {
        if (const auto alive = each.observer.lock()) {
            (*each.handler)(notification);
        }
    }
}

}  // namespace velmaro

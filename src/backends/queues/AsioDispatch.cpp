#include "backends/queues/AsioDispatch.h"

#include "backends/queues/AsioSerialQueue.h"

namespace velmaro {

namespace {
constexpr std::size_t kMostAtOnce = 16;
/// Enough for both global queues, and one that stays idle for timers.
constexpr std::size_t kMostThreads = 2 * kMostAtOnce + 1;
}  // namespace

AsioDispatch::AsioDispatch(DispatchQueue& mainQueue)
    : mainQueue_(mainQueue),
      threads_(kMostThreads),
      userInitiated_("user-initiated", threads_, kMostAtOnce),
      standard_("standard", threads_, kMostAtOnce) {}

AsioDispatch::~AsioDispatch() {
    // While both queues are there for the work that is running.
    threads_.shutDown();
}

DispatchQueue& AsioDispatch::mainQueue() {
    return mainQueue_;
}

DispatchQueue& AsioDispatch::globalQueue(QualityOfService quality) {
    return quality == QualityOfService::userInitiated ? userInitiated_ : standard_;
}

std::shared_ptr<DispatchQueue> AsioDispatch::makeSerialQueue(const std::string& label,
                                                             QualityOfService) {
    return std::make_shared<AsioSerialQueue>(label);
}

}  // namespace velmaro

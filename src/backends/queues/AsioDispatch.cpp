#include "backends/queues/AsioDispatch.h"

#include "backends/queues/AsioSerialQueue.h"
#include "backends/queues/AsioThreadPool.h"
#include "backends/queues/GlobalQueue.h"

namespace velmaro {

namespace {
constexpr std::size_t kMostAtOnce = 16;
/// Enough for both global queues, and one that stays idle for timers.
constexpr std::size_t kMostThreads = 2 * kMostAtOnce + 1;
}  // namespace

AsioDispatch::AsioDispatch(DispatchQueue& mainQueue)
    : mainQueue_(mainQueue),
      threads_(std::make_unique<AsioThreadPool>(kMostThreads)),
      userInitiated_(std::make_unique<GlobalQueue>("user-initiated", *threads_, kMostAtOnce)),
      standard_(std::make_unique<GlobalQueue>("standard", *threads_, kMostAtOnce)) {}

AsioDispatch::~AsioDispatch() {
    // While both queues are there for the work that is running.
    threads_->shutDown();
    const std::lock_guard lock(mutex_);
    for (const Serial& known : serialQueues_) {
        if (const auto queue = known.queue.lock()) {
            queue->end();
        } else if (const auto loop = known.loop.lock()) {
            loop->finish();
        }
    }
}

DispatchQueue& AsioDispatch::mainQueue() {
    return mainQueue_;
}

DispatchQueue& AsioDispatch::globalQueue(QualityOfService quality) {
    return quality == QualityOfService::userInitiated ? *userInitiated_ : *standard_;
}

std::shared_ptr<DispatchQueue> AsioDispatch::makeSerialQueue(const std::string& label,
                                                             QualityOfService) {
    auto queue = std::make_shared<AsioSerialQueue>(label);
    const std::lock_guard lock(mutex_);
    std::erase_if(serialQueues_, [](const Serial& known) { return known.loop.expired(); });
    serialQueues_.push_back({queue, queue->loop()});
    return queue;
}

}  // namespace velmaro

#include "backends/queues/AsioDispatch.h"

#include "backends/queues/AsioSerialQueue.h"
#include "backends/queues/AsioThreadPool.h"

namespace velmaro {

namespace {
constexpr std::size_t kMostThreads = 16;
}

AsioDispatch::AsioDispatch(DispatchQueue& mainQueue)
    : mainQueue_(mainQueue),
      userInitiated_(std::make_unique<AsioThreadPool>("user-initiated", kMostThreads)),
      standard_(std::make_unique<AsioThreadPool>("standard", kMostThreads)) {}

AsioDispatch::~AsioDispatch() = default;

DispatchQueue& AsioDispatch::mainQueue() {
    return mainQueue_;
}

DispatchQueue& AsioDispatch::globalQueue(QualityOfService quality) {
    return quality == QualityOfService::userInitiated ? *userInitiated_ : *standard_;
}

std::shared_ptr<DispatchQueue> AsioDispatch::makeSerialQueue(const std::string& label,
                                                             QualityOfService) {
    return std::make_shared<AsioSerialQueue>(label);
}

}  // namespace velmaro

#include "backends/queues/PostsAfterWork.h"

namespace velmaro {

thread_local PostsAfterWork* PostsAfterWork::current = nullptr;

PostsAfterWork::PostsAfterWork() {
    current = this;
}

PostsAfterWork::~PostsAfterWork() {
    current = nullptr;
    for (auto& [queue, work] : posts_) {
        queue->async(std::move(work));
    }
}

void MainQueueAfterWork::async(Work work) {
    if (PostsAfterWork* const held = PostsAfterWork::current) {
        held->posts_.emplace_back(&mainQueue_, std::move(work));
    } else {
        mainQueue_.async(std::move(work));
    }
}

void MainQueueAfterWork::asyncAfter(std::chrono::duration<double> delay, Work work) {
    mainQueue_.asyncAfter(delay, std::move(work));
}

bool MainQueueAfterWork::isCurrent() const {
    return mainQueue_.isCurrent();
}

}  // namespace velmaro

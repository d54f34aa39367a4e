#include "backends/queues/AsioThreadPool.h"

#include <system_error>
#include <utility>

namespace velmaro {

AsioThreadPool::AsioThreadPool(std::string name, std::size_t mostThreads)
    : name_(std::move(name)), mostThreads_(mostThreads) {}

AsioThreadPool::~AsioThreadPool() {
    std::vector<std::thread> threads;
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
        threads.swap(threads_);
    }
    loop_.stop();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void AsioThreadPool::async(Work work) {
    loop_.post([this, work = std::move(work)] { perform(work); });
    startFirstThread();
}

void AsioThreadPool::asyncAfter(std::chrono::duration<double> delay, Work work) {
    loop_.postAfter(delay, [this, work = std::move(work)] { perform(work); });
    startFirstThread();
}

bool AsioThreadPool::isCurrent() const {
    return loop_.isCurrent();
}

void AsioThreadPool::perform(const Work& work) {
    {
        const std::lock_guard lock(mutex_);
        ++busyThreads_;
        // One thread is kept idle, so that work and timers do not wait for work that blocks.
        if (busyThreads_ == threads_.size() && threads_.size() < mostThreads_) {
            try {
                addThread();
            } catch (const std::system_error&) {
                // The system has no thread to spare; those that are there go on.
            }
        }
    }
    work();
    const std::lock_guard lock(mutex_);
    --busyThreads_;
}

void AsioThreadPool::startFirstThread() {
    const std::lock_guard lock(mutex_);
    if (threads_.empty() && !isEnding_) {
        addThread();
    }
}

void AsioThreadPool::addThread() {
    threads_.emplace_back([this] {
        nameCurrentThread(name_);
        loop_.run();
    });
}

}  // namespace velmaro

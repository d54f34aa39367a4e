#include "backends/queues/AsioThreadPool.h"

#include <system_error>
#include <utility>

namespace velmaro {

AsioThreadPool::AsioThreadPool(std::size_t mostThreads) : mostThreads_(mostThreads) {
    const std::lock_guard lock(mutex_);
    addThread();
}

AsioThreadPool::~AsioThreadPool() {
    shutDown();
}

void AsioThreadPool::post(Work work) {
    loop_.post([this, work = std::move(work)] { perform(work); });
}

void AsioThreadPool::postAfter(std::chrono::duration<double> delay, Work work) {
    loop_.postAfter(delay, [this, work = std::move(work)] { perform(work); });
}

void AsioThreadPool::shutDown() {
    std::vector<std::thread> threads;
    loop_.stop();
    {
        const std::lock_guard lock(mutex_);
        threads.swap(threads_);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
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

void AsioThreadPool::addThread() {
    threads_.emplace_back([this] {
        nameCurrentThread("idle");
        loop_.run();
    });
}

}  // namespace velmaro

#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "fakes/Eventually.h"
#include "platform/Dispatch.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro::live {

using fakes::eventually;

/// A queue that may be filled from a driver's thread; run on the test's.
class LockedQueue : public DispatchQueue {
public:
    void async(Work work) override {
        const std::lock_guard lock(mutex_);
        work_.push_back(std::move(work));
    }
    void asyncAfter(std::chrono::duration<double> /*delay*/, Work work) override {
        async(std::move(work));
    }
    [[nodiscard]] bool isCurrent() const override { return true; }

    [[nodiscard]] std::size_t pending() const {
        const std::lock_guard lock(mutex_);
        return work_.size();
    }
    void run() {
        std::vector<Work> work;
        {
            const std::lock_guard lock(mutex_);
            work.swap(work_);
        }
        for (const Work& each : work) {
            each();
        }
    }

private:
    mutable std::mutex mutex_;
    std::vector<Work> work_;
};

class Listener : public HeadphoneMotionDelegate {
public:
    void headphoneMotionManagerDidConnect() override { ++connections; }
    void headphoneMotionManagerDidDisconnect() override { ++disconnections; }
    std::atomic<int> connections = 0;
    std::atomic<int> disconnections = 0;
};

}  // namespace velmaro::live

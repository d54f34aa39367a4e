#pragma once

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/Dispatch.h"

namespace velmaro::fakes {

/// A queue that runs only when a test cranks it, on the test's thread, with a clock of its own. It
/// may be filled from any thread.
class HandCrankedQueue : public DispatchQueue {
public:
    explicit HandCrankedQueue(std::string label) : label_(std::move(label)) {}

    void async(Work work) override {
        const std::lock_guard lock(mutex_);
        if (trace) {
            trace->push_back("post to " + label_);
        }
        ready_.push_back(std::move(work));
    }

    void asyncAfter(std::chrono::duration<double> delay, Work work) override {
        const std::lock_guard lock(mutex_);
        delayed_.emplace(now_ + delay.count(), std::move(work));
    }

    [[nodiscard]] bool isCurrent() const override { return depth_ > 0 || alwaysCurrent; }

    /// Runs what is queued now and what that queues; returns how many pieces ran.
    int run() {
        int count = 0;
        while (runOne()) {
            ++count;
        }
        return count;
    }

    /// Runs the first piece; false if there is none.
    bool runOne() {
        Work work;
        {
            const std::lock_guard lock(mutex_);
            if (ready_.empty()) {
                return false;
            }
            work = std::move(ready_.front());
            ready_.pop_front();
        }
        ++depth_;
        work();
        --depth_;
        return true;
    }

    /// Moves the clock on, running what falls due on the way, in order.
    void advance(double seconds) {
        const double target = now() + seconds;
        run();
        while (readyNextDelayed(target)) {
            run();
        }
        const std::lock_guard lock(mutex_);
        now_ = target;
    }

    [[nodiscard]] std::size_t pending() const {
        const std::lock_guard lock(mutex_);
        return ready_.size();
    }
    [[nodiscard]] std::size_t pendingDelayed() const {
        const std::lock_guard lock(mutex_);
        return delayed_.size();
    }
    [[nodiscard]] const std::string& label() const { return label_; }

    /// Where what is queued is noted, if anywhere.
    std::vector<std::string>* trace = nullptr;
    /// A test's own thread plays the main thread.
    bool alwaysCurrent = false;

private:
    [[nodiscard]] double now() const {
        const std::lock_guard lock(mutex_);
        return now_;
    }

    bool readyNextDelayed(double target) {
        const std::lock_guard lock(mutex_);
        if (delayed_.empty() || delayed_.begin()->first > target) {
            return false;
        }
        auto first = delayed_.extract(delayed_.begin());
        now_ = std::max(now_, first.key());
        ready_.push_back(std::move(first.mapped()));
        return true;
    }

    const std::string label_;
    mutable std::mutex mutex_;
    std::deque<Work> ready_;
    std::multimap<double, Work> delayed_;
    double now_ = 0;
    std::atomic<int> depth_ = 0;
};

class HandCrankedDispatch : public Dispatch {
public:
    HandCrankedDispatch() { main.alwaysCurrent = true; }

    DispatchQueue& mainQueue() override { return main; }
    DispatchQueue& globalQueue(QualityOfService quality) override {
        return quality == QualityOfService::userInitiated ? userInitiated : standard;
    }
    std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label,
                                                   QualityOfService quality) override {
        auto queue = std::make_shared<HandCrankedQueue>(label);
        serialQueues.push_back(queue);
        serialQualities.push_back(quality);
        return queue;
    }

    HandCrankedQueue main{"main"};
    HandCrankedQueue userInitiated{"user-initiated"};
    HandCrankedQueue standard{"standard"};
    std::vector<std::shared_ptr<HandCrankedQueue>> serialQueues;
    std::vector<QualityOfService> serialQualities;
};

}  // namespace velmaro::fakes

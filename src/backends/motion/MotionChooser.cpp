#include "backends/motion/MotionChooser.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

namespace velmaro {

/// Hears of the sources on their threads, where it chooses anew and lets its own delegate know. The
/// lock is held meanwhile, so that nobody hears of two changes in the wrong order.
class MotionChooser::Choice final : public HeadphoneMotionDelegate {
public:
    explicit Choice(std::vector<HeadphoneMotion*> sources) : sources_(std::move(sources)) {}

    void headphoneMotionManagerDidConnect() override { update(); }
    void headphoneMotionManagerDidDisconnect() override { update(); }

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
        const std::lock_guard lock(mutex_);
        delegate_ = std::move(delegate);
        wasAvailable_ = firstAvailable() != nullptr;
    }

    [[nodiscard]] bool isAvailable() const {
        const std::lock_guard lock(mutex_);
        return firstAvailable() != nullptr;
    }
    [[nodiscard]] bool isActive() const {
        const std::lock_guard lock(mutex_);
        return queue_ != nullptr;
    }

    void start(DispatchQueue& queue, Handler handler) {
        const std::lock_guard lock(mutex_);
        if (queue_ == nullptr) {
            queue_ = &queue;
            handler_ = std::move(handler);
            choose();
        }
    }

    void stop() {
        const std::lock_guard lock(mutex_);
        leave();
        queue_ = nullptr;
        handler_ = nullptr;
    }

    /// Uses the sources no more.
    void close() {
        stop();
        const std::lock_guard lock(mutex_);
        sources_.clear();
        delegate_.reset();
    }

private:
    void update() {
        const std::lock_guard lock(mutex_);
        if (queue_ != nullptr) {
            choose();
        }
        const bool available = firstAvailable() != nullptr;
        const auto delegate = delegate_.lock();
        if (available == std::exchange(wasAvailable_, available) || !delegate) {
            return;
        }
        if (available) {
            delegate->headphoneMotionManagerDidConnect();
        } else {
            delegate->headphoneMotionManagerDidDisconnect();
        }
    }

    [[nodiscard]] HeadphoneMotion* firstAvailable() const {
        const auto found = std::ranges::find_if(
            sources_, [](const auto* source) { return source->isDeviceMotionAvailable(); });
        return found == sources_.end() ? nullptr : *found;
    }

    void choose() {
        if (current_ != nullptr && current_->isDeviceMotionAvailable()) {
            return;
        }
        // Without any, the current one stays started: it may come back by itself.
        if (HeadphoneMotion* const next = firstAvailable()) {
            leave();
            current_ = next;
            current_->startDeviceMotionUpdates(*queue_, handler_);
        }
    }

    void leave() {
        if (current_ != nullptr) {
            std::exchange(current_, nullptr)->stopDeviceMotionUpdates();
        }
    }

    mutable std::mutex mutex_;
    std::vector<HeadphoneMotion*> sources_;
    std::weak_ptr<HeadphoneMotionDelegate> delegate_;
    bool wasAvailable_ = false;
    DispatchQueue* queue_ = nullptr;
    Handler handler_;
    HeadphoneMotion* current_ = nullptr;
};

MotionChooser::MotionChooser(std::vector<std::unique_ptr<HeadphoneMotion>> sources)
    : choice_([&] {
          std::vector<HeadphoneMotion*> all;
          std::ranges::transform(sources, std::back_inserter(all),
                                 [](const auto& source) { return source.get(); });
          return std::make_shared<Choice>(std::move(all));
      }()),
      sources_(std::move(sources)) {
    for (const auto& source : sources_) {
        source->setDelegate(choice_);
    }
}

MotionChooser::~MotionChooser() {
    choice_->close();
}

void MotionChooser::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    choice_->setDelegate(std::move(delegate));
}

bool MotionChooser::isDeviceMotionAvailable() const {
    return choice_->isAvailable();
}

bool MotionChooser::isDeviceMotionActive() const {
    return choice_->isActive();
}

void MotionChooser::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    choice_->start(queue, std::move(handler));
}

void MotionChooser::stopDeviceMotionUpdates() {
    choice_->stop();
}

}  // namespace velmaro

#include "backends/motion/MotionChooser.h"

#include <algorithm>
#include <utility>

namespace velmaro {

/// All on the main thread.
class MotionChooser::Choice {
public:
    explicit Choice(std::vector<std::unique_ptr<HeadphoneMotion>> sources)
        : sources_(std::move(sources)) {}

    void setSourceDelegate(const std::weak_ptr<HeadphoneMotionDelegate>& delegate) {
        for (const auto& source : sources_) {
            source->setDelegate(delegate);
        }
    }

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
        delegate_ = std::move(delegate);
        told_ = isAvailable();
    }

    [[nodiscard]] bool isAvailable() const { return firstAvailable() != nullptr; }
    [[nodiscard]] bool isActive() const { return queue_ != nullptr; }

    void start(DispatchQueue& queue, Handler handler) {
        if (isActive()) {
            return;
        }
        queue_ = &queue;
        handler_ = std::move(handler);
        choose();
    }

    void stop() {
        queue_ = nullptr;
        handler_ = nullptr;
        leave();
    }

    /// After a source came or went.
    void update() {
        if (isActive()) {
            choose();
        }
        const bool available = isAvailable();
        if (available == std::exchange(told_, available)) {
            return;
        }
        const auto delegate = delegate_.lock();
        if (!delegate) {
            return;
        }
        if (available) {
            delegate->headphoneMotionManagerDidConnect();
        } else {
            delegate->headphoneMotionManagerDidDisconnect();
        }
    }

private:
    [[nodiscard]] HeadphoneMotion* firstAvailable() const {
        const auto found = std::find_if(sources_.begin(), sources_.end(), [](const auto& source) {
            return source->isDeviceMotionAvailable();
        });
        return found == sources_.end() ? nullptr : found->get();
    }

    void choose() {
        if (current_ != nullptr && current_->isDeviceMotionAvailable()) {
            return;
        }
        // Without any, the current one stays started: it may come back by itself.
        HeadphoneMotion* const next = firstAvailable();
        if (next == nullptr) {
            return;
        }
        leave();
        current_ = next;
        current_->startDeviceMotionUpdates(*queue_, handler_);
    }

    void leave() {
        if (current_ != nullptr) {
            std::exchange(current_, nullptr)->stopDeviceMotionUpdates();
        }
    }

    const std::vector<std::unique_ptr<HeadphoneMotion>> sources_;
    std::weak_ptr<HeadphoneMotionDelegate> delegate_;
    bool told_ = false;
    DispatchQueue* queue_ = nullptr;
    Handler handler_;
    HeadphoneMotion* current_ = nullptr;
};

/// Hears of the sources on their threads.
class MotionChooser::SourceDelegate : public HeadphoneMotionDelegate {
public:
    SourceDelegate(std::weak_ptr<Choice> choice, DispatchQueue& mainQueue)
        : choice_(std::move(choice)), mainQueue_(mainQueue) {}

    void headphoneMotionManagerDidConnect() override { post(); }
    void headphoneMotionManagerDidDisconnect() override { post(); }

private:
    void post() const {
        mainQueue_.async([weakChoice = choice_] {
            if (const auto choice = weakChoice.lock()) {
                choice->update();
            }
        });
    }

    const std::weak_ptr<Choice> choice_;
    DispatchQueue& mainQueue_;
};

MotionChooser::MotionChooser(std::vector<std::unique_ptr<HeadphoneMotion>> sources,
                             DispatchQueue& mainQueue)
    : choice_(std::make_shared<Choice>(std::move(sources))),
      sourceDelegate_(std::make_shared<SourceDelegate>(choice_, mainQueue)) {
    choice_->setSourceDelegate(sourceDelegate_);
}

MotionChooser::~MotionChooser() {
    choice_->stop();
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

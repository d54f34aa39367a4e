#include "backends/motion/LiveMotion.h"

#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

namespace velmaro {
namespace {

/// More than a second of the fastest trackers. Beyond it the reader is stuck, and memory matters
/// more than old samples.
constexpr int kMostPending = 256;

/// What a driver waits for, and the wake-up.
constexpr std::size_t kMostFiles = 4;

}  // namespace

/// From a start to its stop.
class MotionLink::Run {
public:
    Run(DispatchQueue& queue, Handler handler) : queue_(queue), handler_(std::move(handler)) {}

    static void post(const std::shared_ptr<Run>& self, std::shared_ptr<const DeviceMotion> sample,
                     std::optional<Error> error) {
        if (self->pending_.load() >= kMostPending) {
            return;
        }
        ++self->pending_;
        self->queue_.async([self, sample = std::move(sample), error = std::move(error)] {
            --self->pending_;
            if (!self->stopped_.load()) {
                self->handler_(sample, error);
            }
        });
    }

    void stop() { stopped_.store(true); }

private:
    DispatchQueue& queue_;
    const Handler handler_;
    std::atomic<bool> stopped_ = false;
    std::atomic<int> pending_ = 0;
};

MotionLink::MotionLink() : wake_(check(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

MotionLink::~MotionLink() = default;

void MotionLink::wait(std::span<pollfd> files, std::optional<std::chrono::milliseconds> timeout) {
    assert(files.size() < kMostFiles);
    std::array<pollfd, kMostFiles> all{};
    std::copy(files.begin(), files.end(), all.begin());
    all[files.size()] = {wake_.get(), POLLIN, 0};
    ::poll(all.data(), files.size() + 1,
           timeout ? static_cast<int>(std::max<std::int64_t>(timeout->count(), 0)) : -1);
    if (all[files.size()].revents != 0) {
        eventfd_t count = 0;
        ::eventfd_read(wake_.get(), &count);
    }
    std::copy_n(all.begin(), files.size(), files.begin());
}

void MotionLink::setAvailable(bool available) {
    if (available_.exchange(available) == available) {
        return;
    }
    std::shared_ptr<HeadphoneMotionDelegate> delegate;
    {
        const std::unique_lock lock(mutex_);
        delegate = delegate_.lock();
    }
    if (!delegate) {
        return;
    }
    if (available) {
        delegate->headphoneMotionManagerDidConnect();
    } else {
        delegate->headphoneMotionManagerDidDisconnect();
    }
}

void MotionLink::deliver(const CMQuaternion& attitude) {
    post(std::make_shared<const DeviceMotion>(DeviceMotion{.attitude = {.quaternion = attitude}}),
         std::nullopt);
}

void MotionLink::fail(const std::string& description) {
    post(nullptr, Error{.description = description, .localizedDescription = description});
}

void MotionLink::post(const std::shared_ptr<const DeviceMotion>& sample,
                      const std::optional<Error>& error) const {
    std::shared_ptr<Run> run;
    {
        const std::unique_lock lock(mutex_);
        run = run_;
    }
    if (run) {
        Run::post(run, sample, error);
    }
}

void MotionLink::settle() {
    const std::unique_lock lock(mutex_);
    settled_ = true;
    settlement_.notify_all();
}

void MotionLink::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    const std::unique_lock lock(mutex_);
    delegate_ = std::move(delegate);
}

void MotionLink::start(DispatchQueue& queue, Handler handler) {
    const std::unique_lock lock(mutex_);
    if (run_) {
        return;
    }
    run_ = std::make_shared<Run>(queue, std::move(handler));
    wish_.store(++starts_);
    wake();
}

void MotionLink::stop() {
    std::shared_ptr<Run> run;
    {
        const std::unique_lock lock(mutex_);
        run = std::exchange(run_, nullptr);
    }
    if (run) {
        run->stop();
        wish_.store(0);
        wake();
    }
}

void MotionLink::end() {
    stop();
    ending_.store(true);
    wake();
}

void MotionLink::awaitSettlement(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    settlement_.wait_for(lock, patience, [this] { return settled_; });
}

void MotionLink::wake() const {
    ::eventfd_write(wake_.get(), 1);
}

LiveMotion::LiveMotion(const std::string& threadName, std::unique_ptr<MotionDriver> driver,
                       std::chrono::milliseconds patience)
    : driver_(std::move(driver)), thread_([this, threadName] {
          ::pthread_setname_np(::pthread_self(), threadName.c_str());
          driver_->run(link_);
          link_.setAvailable(false);
          link_.settle();
      }) {
    link_.awaitSettlement(patience);
}

LiveMotion::~LiveMotion() {
    link_.setDelegate({});
    link_.end();
    thread_.join();
}

void LiveMotion::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    link_.setDelegate(std::move(delegate));
}

bool LiveMotion::isDeviceMotionAvailable() const {
    return link_.isAvailable();
}

bool LiveMotion::isDeviceMotionActive() const {
    return link_.isActive();
}

void LiveMotion::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    link_.start(queue, std::move(handler));
}

void LiveMotion::stopDeviceMotionUpdates() {
    link_.stop();
}

}  // namespace velmaro

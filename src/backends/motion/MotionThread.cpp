#include "backends/motion/MotionThread.h"

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
struct MotionThread::Delivery {
    DispatchQueue& queue;
    const Handler handler;
    std::atomic<bool> isStopped = false;
    std::atomic<int> pending = 0;
};

MotionThread::MotionThread(const std::string& name, std::unique_ptr<MotionDriver> driver,
                           std::chrono::milliseconds patience)
    : wake_(check(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      driver_(std::move(driver)),
      thread_([this, name] {
          ::pthread_setname_np(::pthread_self(), name.c_str());
          driver_->run(*this);
          setAvailable(false);
          notifyReady();
      }) {
    std::unique_lock lock(mutex_);
    readiness_.wait_for(lock, patience, [this] { return isReady_; });
}

MotionThread::~MotionThread() {
    setDelegate({});
    stopDeviceMotionUpdates();
    isEnding_.store(true);
    wake();
    thread_.join();
}

void MotionThread::setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

void MotionThread::startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) {
    const std::lock_guard lock(mutex_);
    if (!delivery_) {
        delivery_.reset(new Delivery{.queue = queue, .handler = std::move(handler)});
        request_.store(++starts_);
        wake();
    }
}

void MotionThread::stopDeviceMotionUpdates() {
    const std::lock_guard lock(mutex_);
    if (const auto delivery = std::exchange(delivery_, nullptr)) {
        delivery->isStopped.store(true);
        request_.store(0);
        wake();
    }
}

void MotionThread::wait(std::span<pollfd> files, std::optional<std::chrono::milliseconds> timeout) {
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

void MotionThread::setAvailable(bool available) {
    if (isAvailable_.exchange(available) == available) {
        return;
    }
    std::shared_ptr<HeadphoneMotionDelegate> delegate;
    {
        const std::lock_guard lock(mutex_);
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

void MotionThread::deliver(const CMQuaternion& attitude) {
    post(std::make_shared<const DeviceMotion>(DeviceMotion{.attitude = {.quaternion = attitude}}),
         std::nullopt);
}

void MotionThread::fail(const std::string& description) {
    post(nullptr, Error{.description = description, .localizedDescription = description});
}

void MotionThread::post(std::shared_ptr<const DeviceMotion> sample, std::optional<Error> error) {
    std::shared_ptr<Delivery> delivery;
    {
        const std::lock_guard lock(mutex_);
        delivery = delivery_;
    }
    if (!delivery || delivery->pending.load() >= kMostPending) {
        return;
    }
    ++delivery->pending;
    delivery->queue.async([delivery, sample = std::move(sample), error = std::move(error)] {
        --delivery->pending;
        if (!delivery->isStopped.load()) {
            delivery->handler(sample, error);
        }
    });
}

void MotionThread::notifyReady() {
    const std::lock_guard lock(mutex_);
    isReady_ = true;
    readiness_.notify_all();
}

void MotionThread::wake() const {
    ::eventfd_write(wake_.get(), 1);
}

}  // namespace velmaro

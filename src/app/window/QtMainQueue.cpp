#include "app/window/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <cassert>
#include <utility>

namespace velmaro {
namespace {

const auto kRunReady = static_cast<QEvent::Type>(QEvent::registerEventType());

// A timer counts in int milliseconds; what is due later just looks again.
constexpr std::chrono::milliseconds kLongestTimer = std::chrono::hours(1);

}  // namespace

QtMainQueue::~QtMainQueue() {
    close();
}

void QtMainQueue::close() {
    assert(isCurrent());
    std::vector<Work> dropped;
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        dropped.swap(ready_);
    }
    timer_.stop();
    std::exchange(delayed_, {}).clear();
}

void QtMainQueue::async(Work work) {
    const std::lock_guard lock(mutex_);
    if (closed_) {
        return;
    }
    ready_.push_back(std::move(work));
    if (ready_.size() == 1) {
        // Under our lock, which the thread sanitizer sees; the toolkit's own it does not.
        QCoreApplication::postEvent(this, new QEvent(kRunReady));
    }
}

void QtMainQueue::asyncAfter(std::chrono::duration<double> delay, Work work) {
    const auto due = Clock::now() + std::chrono::ceil<Clock::duration>(delay);
    async([this, due, work = std::move(work)]() mutable { this->delay(due, std::move(work)); });
}

bool QtMainQueue::isCurrent() const {
    return std::this_thread::get_id() == mainThread_;
}

void QtMainQueue::customEvent(QEvent* /*event*/) {
    runReady();
}

// What the work queues runs after the events that wait by then, so that a flood of work never
// keeps the window from a click.
void QtMainQueue::runReady() {
    std::vector<Work> work;
    {
        const std::lock_guard lock(mutex_);
        work.swap(ready_);
    }
    for (Work& each : work) {
        std::exchange(each, nullptr)();
    }
}

void QtMainQueue::delay(Clock::time_point due, Work work) {
    delayed_.emplace(due, std::move(work));
    startTimer();
}

void QtMainQueue::startTimer() {
    if (delayed_.empty()) {
        timer_.stop();
        return;
    }
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(delayed_.begin()->first - Clock::now());
    timer_.start(
        static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), kLongestTimer).count()),
        Qt::PreciseTimer, this);
}

void QtMainQueue::timerEvent(QTimerEvent* /*event*/) {
    std::vector<Work> due;
    const auto now = Clock::now();
    while (!delayed_.empty() && delayed_.begin()->first <= now) {
        due.push_back(std::move(delayed_.extract(delayed_.begin()).mapped()));
    }
    startTimer();
    for (Work& each : due) {
        std::exchange(each, nullptr)();
    }
}

}  // namespace velmaro

#pragma once

#include <QBasicTimer>
#include <QObject>
#include <chrono>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/Dispatch.h"

namespace velmaro {

/// The main queue of the program with a window: runs its work from Qt's event loop. Made and
/// destroyed on the main thread, after and before the application object.
class QtMainQueue final : public QObject, public DispatchQueue {
public:
    QtMainQueue() = default;
    ~QtMainQueue() override;

    /// Destroys queued work without running it, and all that is queued later: for the end of the
    /// program, while what the work refers to still exists. Main thread, outside the event loop.
    void close();

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;

    /// True on the main thread, whether or not the event loop is under way: what the program sets
    /// up before is on its sequence too.
    [[nodiscard]] bool isCurrent() const override;

protected:
    void customEvent(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    using Clock = std::chrono::steady_clock;

    void runReady();
    void delay(Clock::time_point due, Work work);
    void startTimer();

    const std::thread::id mainThread_ = std::this_thread::get_id();

    std::mutex mutex_;
    std::vector<Work> ready_;
    bool closed_ = false;

    // Main thread only.
    std::multimap<Clock::time_point, Work> delayed_;
    QBasicTimer timer_;
};

}  // namespace velmaro

#pragma once

#include <chrono>
#include <memory>
#include <thread>

#include "platform/AtomicPointer.h"
#include "platform/Dispatch.h"

namespace velmaro {

class EventLoop;

/// The main queue of a program without a window. The thread that makes it is the main thread.
class AsioMainQueue : public DispatchQueue {
public:
    AsioMainQueue();
    ~AsioMainQueue() override;

    /// Runs queued work until `stop`. Main thread; may be called again.
    void run();

    /// Makes `run` return after the work that it is at; called before `run`, makes that return at
    /// once. Any thread.
    void stop();

    /// Destroys queued work without running it, and all that is queued later: for the end of the
    /// program, while what the work refers to still exists. Main thread, outside `run`.
    void close();

    void async(Work work) override;
    void asyncAfter(std::chrono::duration<double> delay, Work work) override;

    /// True on the main thread, whether or not `run` is under way: what the program sets up before
    /// is on its sequence too.
    [[nodiscard]] bool isCurrent() const override;

private:
    const std::thread::id mainThread_ = std::this_thread::get_id();
    /// Null once closed.
    AtomicPointer<EventLoop> loop_;
};

}  // namespace velmaro

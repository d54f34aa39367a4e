#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace velmaro {

/// How soon queued work is wanted.
enum class QualityOfService {
    /// Somebody waits for it: frames, the start of a camera.
    userInitiated,
    /// Everything else: connections and their callbacks.
    standard,
};

using Work = std::function<void()>;

/// Runs work that is handed to it from any thread.
class DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    /// Queues `work` and returns at once. Any thread. Serial queues keep the order of the calls.
    /// Work still queued when the queue is destroyed is destroyed without running.
    virtual void async(Work work) = 0;

    /// Queues `work` to run no earlier than `delay` from now. Any thread.
    virtual void asyncAfter(std::chrono::duration<double> delay, Work work) = 0;

    /// True on a thread that is running work of this queue: the check behind assertions that an
    /// object is used on its own sequence.
    [[nodiscard]] virtual bool isCurrent() const = 0;
};

/// The door to the process's queues. It outlives every object that was given it.
class Dispatch {
public:
    virtual ~Dispatch() = default;

    /// The serial queue of the main thread; all observable state is written on it.
    virtual DispatchQueue& mainQueue() = 0;

    /// The concurrent queue for work of that quality. Blocking work is welcome there.
    virtual DispatchQueue& globalQueue(QualityOfService quality) = 0;

    /// A new serial queue, whose thread carries `label` as its name. It runs until released.
    virtual std::shared_ptr<DispatchQueue> makeSerialQueue(const std::string& label,
                                                           QualityOfService quality) = 0;
};

}  // namespace velmaro

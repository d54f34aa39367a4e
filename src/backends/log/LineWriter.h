#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "platform/Log.h"

namespace velmaro {

/// Writes lines to an open file on a thread of its own, so that who has something to say never
/// waits for who reads it: a pipe may be full, a terminal held, a disk far away.
///
/// It takes a thread because nobody can tell beforehand whether a write will wait: `poll` knows
/// that there is some room, not how much, and another program may take it first. O_NONBLOCK would
/// tell, but it belongs to the open file, and so to every program that shares the terminal.
///
/// Lines go out whole and in order, those that are there together with one call, in pieces that no
/// other process can interrupt in a pipe. Lines that find no room are left out and counted. A file
/// that takes nothing for good (a reader that left, a full disk) swallows everything silently.
class LineWriter : public Log {
public:
    /// Called on the writer's thread, or within the destructor, with how many lines were left out
    /// just before, once all others are written. It must not wait.
    using LossHandler = std::function<void(std::size_t count)>;
    /// How long the end waits for a file that takes nothing at all.
    static constexpr std::chrono::milliseconds kPatience{150};

    /// `descriptor` stays open for as long as the process runs. The thread, called `threadName`,
    /// starts with the first line; where the system has none to give, lines wait until it has.
    LineWriter(int descriptor, std::string threadName, LossHandler onLoss,
               std::chrono::milliseconds patience = kPatience);
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;
    /// Waits until everything is written, but not for a file that takes nothing: its lines are lost
    /// and the thread, which nothing can wake, is left to the end of the process.
    ~LineWriter() override;

    /// Takes `text`, to which a newline is added. Any thread; waits for nobody, never fails.
    void line(std::string_view text) override;

private:
    class Queue;

    void startThread();
    [[nodiscard]] bool waitForTheEnd();

    const std::string threadName_;
    const std::chrono::milliseconds patience_;
    /// Shared with the thread, which may outlive this.
    const std::shared_ptr<Queue> queue_;
    std::mutex mutex_;
    std::thread thread_;
};

}  // namespace velmaro

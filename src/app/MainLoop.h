#pragma once

#include "platform/Dispatch.h"

namespace velmaro {

/// The main thread's queue and the loop that runs it: Qt's where there is a window.
class MainLoop {
public:
    virtual ~MainLoop() = default;

    virtual DispatchQueue& queue() = 0;
    /// Runs the queue's work on this thread until `stop`.
    virtual void run() = 0;
    /// Main thread, from work of the queue; `run` returns after it.
    virtual void stop() = 0;
    /// Destroys queued work without running it, and all that is queued later. Main thread, after
    /// `run`.
    virtual void close() = 0;
};

}  // namespace velmaro

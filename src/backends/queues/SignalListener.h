#pragma once

#include <functional>
#include <initializer_list>
#include <memory>

#include "platform/Dispatch.h"

namespace velmaro {

/// Turns POSIX signals of the process, SIGINT say, into calls on a queue.
class SignalListener {
public:
    /// From now on the signals no longer do what they do by default; `handler` is called on
    /// `queue` with the number of each one that comes, also where every other thread blocks them.
    /// Equal signals that come close together may be told once. Throws std::system_error for a
    /// signal that cannot be caught.
    SignalListener(DispatchQueue& queue, std::initializer_list<int> signals,
                   std::function<void(int signal)> handler);

    /// On the queue's thread: no call follows. The signals have no effect any more, so that one
    /// that comes while the process ends does not end it otherwise; a later listener may be told of
    /// it.
    ~SignalListener();

private:
    class Waiter;
    const std::unique_ptr<Waiter> waiter_;
};

}  // namespace velmaro

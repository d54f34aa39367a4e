#pragma once

#include "app/ContentView.h"
#include "receivers/ReceiverNetwork.h"
#include "receivers/Receivers.h"

namespace velmaro {

/// A receiver that is chosen while the program runs, as by the window's menu. Main thread.
class ReceiverChoice {
public:
    /// Both outlive this. `output` is what the network has been given.
    ReceiverChoice(ContentView& view, ReceiverNetwork& network, Output output);

    /// Sets the sender's port and address and the conversion, all at once: now, or, while tracking,
    /// at the next start. Further receivers stay. Angles are sent from then on, since a receiver
    /// says itself what is made of them.
    void choose(const Receiver& receiver);

    /// The latest choice, in force or not; null if there was none.
    [[nodiscard]] const Receiver* chosen() const { return chosen_; }
    [[nodiscard]] bool isPending() const { return pending_ != nullptr; }

private:
    void apply(const Receiver& receiver);

    ContentView& view_;
    ReceiverNetwork& network_;
    Output output_;
    const Receiver* chosen_ = nullptr;
    const Receiver* pending_ = nullptr;
    Subscription running_;
};

}  // namespace velmaro

#pragma once

#include <memory>
#include <vector>

#include "platform/Diagnostics.h"
#include "platform/Dispatch.h"
#include "platform/Observable.h"

namespace velmaro {

/// Prints what is reported and keeps the newest of it for a window to show.
class KeptDiagnostics final : public Diagnostics, public Observable {
public:
    /// `mainQueue` outlives whoever reports.
    KeptDiagnostics(std::unique_ptr<Diagnostics> printed, DispatchQueue& mainQueue);

    void report(const Diagnostic& diagnostic) override;

    /// The newest last, at most a hundred. Main thread.
    Published<std::vector<Diagnostic>> reported{*this, {}};

private:
    const std::unique_ptr<Diagnostics> printed_;
    DispatchQueue& mainQueue_;
    /// Keeps work that is still queued from an object that has gone.
    const std::shared_ptr<KeptDiagnostics*> self_ = std::make_shared<KeptDiagnostics*>(this);
};

}  // namespace velmaro

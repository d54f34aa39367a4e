#include "backends/portal/Desktop.h"

#include <system_error>
#include <utility>

#include "backends/portal/GlobalShortcuts.h"
#include "backends/portal/IdleInhibitor.h"

namespace velmaro {

Desktop::Desktop(Settings settings) : settings_(std::move(settings)) {}

Desktop::~Desktop() = default;

void Desktop::setTracking(bool isTracking) {
    if (isTracking) {
        begin();
    }
    if (idle_) {
        idle_->setInhibited(isTracking);
    }
}

void Desktop::begin() {
    try {
        if (!idle_ && !settings_.allowsIdle) {
            idle_ = std::make_unique<IdleInhibitor>();
        }
        if (!shortcuts_ && settings_.onShortcut) {
            shortcuts_ = std::make_unique<GlobalShortcuts>(settings_.onShortcut);
        }
    } catch (const std::system_error&) {
        // Without a thread it goes on without them.
    }
}

}  // namespace velmaro

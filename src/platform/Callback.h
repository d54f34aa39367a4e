#pragma once

#include <functional>
#include <utility>

#include "platform/Snapshot.h"

namespace velmaro {

/// An optional closure that an object calls back: assigning replaces the earlier one, assigning
/// nullptr removes it. It may be assigned on one thread while another calls it; a call that is
/// under way keeps the closure that it started with.
template <typename... Arguments>
class Callback {
public:
    using Function = std::function<void(Arguments...)>;

    Callback& operator=(Function function) {
        if (function) {
            function_.store(std::move(function));
        } else {
            function_.clear();
        }
        return *this;
    }

    [[nodiscard]] explicit operator bool() const { return function_.load() != nullptr; }

    /// Calls the closure on the current thread if there is one.
    void operator()(Arguments... arguments) const {
        if (const auto function = function_.load()) {
            (*function)(std::forward<Arguments>(arguments)...);
        }
    }

private:
    Snapshot<Function> function_;
};

}  // namespace velmaro

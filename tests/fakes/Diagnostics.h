#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Diagnostics.h"

namespace velmaro::fakes {

/// Keeps what is reported, in order. Any thread.
class CapturedDiagnostics : public Diagnostics {
public:
    void report(const Diagnostic& diagnostic) override {
        const std::lock_guard lock(mutex_);
        reported_.push_back(diagnostic);
        changed_.notify_all();
    }

    [[nodiscard]] std::vector<Diagnostic> all() const {
        const std::lock_guard lock(mutex_);
        return reported_;
    }

    /// What a terminal would show, a line each.
    [[nodiscard]] std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        std::vector<std::string> lines;
        for (const Diagnostic& each : reported_) {
            lines.push_back(each.line());
        }
        return lines;
    }

    /// Waits until a line holds `part`; false after a minute, which only ends a test that fails.
    bool waitFor(const std::string& part) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::minutes(1), [&] {
            return std::ranges::any_of(reported_, [&](const Diagnostic& each) {
                return each.line().find(part) != std::string::npos;
            });
        });
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Diagnostic> reported_;
};

}  // namespace velmaro::fakes

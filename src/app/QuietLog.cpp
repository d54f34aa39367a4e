#include "app/QuietLog.h"

#include <algorithm>
#include <array>

namespace velmaro {
namespace {

/// How the lines of a frame begin, which say that all is well or that it goes on with the next.
constexpr std::array<std::string_view, 4> kOfEveryFrame{
    "🎯 Calculated: ", "📍 Landmarks available", "❌ No landmarks available", "⚠️ Dropped frame"};
constexpr std::array<std::string_view, 2> kErrors{"OSC send error: ", "❌ Headphone motion error: "};

bool beginsWithOneOf(std::string_view text, const auto& beginnings) {
    return std::ranges::any_of(
        beginnings, [text](std::string_view beginning) { return text.starts_with(beginning); });
}

}  // namespace

void QuietLog::line(std::string_view text) {
    if (beginsWithOneOf(text, kOfEveryFrame)) {
        return;
    }
    if (beginsWithOneOf(text, kErrors)) {
        const std::lock_guard lock(mutex_);
        if (text == lastError_) {
            return;
        }
        lastError_ = text;
    }
    log_->line(text);
}

}  // namespace velmaro

#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Log.h"

namespace velmaro::fakes {

/// Keeps the lines, in order. For tests on one thread.
class CapturedLog : public Log {
public:
    void line(std::string_view text) override {
        lines.emplace_back(text);
        if (trace) {
            trace->emplace_back(text);
        }
    }

    /// The lines so far, which are then forgotten.
    std::vector<std::string> take() { return std::exchange(lines, {}); }

    std::vector<std::string> lines;
    /// Where the lines are noted too, if anywhere.
    std::vector<std::string>* trace = nullptr;
};

}  // namespace velmaro::fakes

#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/Log.h"

namespace velmaro {

/// The log without the lines that every frame and every sample has, for a program that runs for
/// months. Errors that can come with each of them are written once, until another one comes. Any
/// thread.
class QuietLog final : public Log {
public:
    explicit QuietLog(std::unique_ptr<Log> log) : log_(std::move(log)) {}

    void line(std::string_view text) override;

private:
    const std::unique_ptr<Log> log_;
    std::mutex mutex_;
    std::string lastError_;
};

}  // namespace velmaro

#pragma once

#include <asio/execution.hpp>
#include <asio/io_context.hpp>
#include <memory>
#include <utility>

#include "platform/Dispatch.h"

namespace velmaro {

/// A queue as Asio sees it, so that a strand can run on it.
class QueueExecutor {
public:
    /// The queue outlives the executor and its copies; the context, which strands keep a list in,
    /// lives as long as the last of them or of their work.
    QueueExecutor(std::shared_ptr<asio::io_context> context, DispatchQueue& queue) noexcept
        : context_(std::move(context)), queue_(&queue) {}

    template <typename Function>
    void execute(Function function) const {
        struct Held {
            std::shared_ptr<asio::io_context> destroyedLast;
            Function function;
        };
        queue_->async([held = std::make_shared<Held>(Held{context_, std::move(function)})] {
            held->function();
        });
    }

    [[nodiscard]] asio::execution_context& query(asio::execution::context_t) const noexcept {
        return *context_;
    }
    /// The caller never runs the work itself.
    static constexpr asio::execution::blocking_t query(asio::execution::blocking_t) noexcept {
        return asio::execution::blocking.never;
    }

    bool operator==(const QueueExecutor&) const noexcept = default;

private:
    std::shared_ptr<asio::io_context> context_;
    DispatchQueue* queue_;
};

}  // namespace velmaro

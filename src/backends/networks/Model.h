#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/Result.h"

namespace velmaro::networks {

/// A tensor's extents, outermost first: batch, rows, columns, channels for pictures.
using Shape = std::vector<std::size_t>;

/// The product of a shape's extents.
[[nodiscard]] std::size_t elementCount(const Shape& shape);

struct Tensor {
    Shape shape;
    /// The values of a constant; empty for what is computed.
    std::vector<float> constant;
    /// The values of a constant of integers, such as the amounts of a Pad.
    std::vector<std::int32_t> integers;
};

enum class Operation {
    add,
    concatenation,
    convolution,
    depthwise,
    maxPool,
    pad,
    prelu,
    relu,
    reshape
};

/// Rows and columns that a sliding window takes.
struct Window {
    bool samePadding = false;
    std::uint32_t strideHeight = 1;
    std::uint32_t strideWidth = 1;
    /// For MaxPool only; a convolution's window is the extent of its filter.
    std::uint32_t height = 0;
    std::uint32_t width = 0;
};

struct Step {
    Operation operation;
    std::vector<std::size_t> inputs;
    std::size_t output = 0;
    Window window;
};

/// A network as a list of steps in the order of computing. A loaded one is consistent: every index
/// is in range, every input is known when its step comes, and every shape follows from its inputs.
struct Model {
    std::vector<Tensor> tensors;
    std::vector<Step> steps;
    std::vector<std::size_t> inputs;
    std::vector<std::size_t> outputs;
};

/// Reads a TensorFlow Lite file of 32-bit floats, or of 16-bit weights which become 32-bit ones.
/// Fails when the file is damaged or holds something other than the operations above. The bytes
/// start where a vector's do: at a multiple of 16.
[[nodiscard]] Result<Model> readModel(std::span<const std::byte> file);

/// Fails unless every shape follows from its inputs and every input is known in time.
[[nodiscard]] Result<void> checkModel(const Model& model);

}  // namespace velmaro::networks

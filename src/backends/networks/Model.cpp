#include "backends/networks/Model.h"

#include <bit>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "backends/networks/FlatBuffer.h"

// Field numbers, type and operator codes below are those of the public TensorFlow Lite schema,
// version 3.

namespace velmaro::networks {
namespace {

/// More than ten times what the models need; keeps a damaged shape from asking for all memory.
constexpr std::size_t maximumElements = std::size_t{1} << 23;

enum class TensorType : std::uint8_t { Float32 = 0, Float16 = 1, Int32 = 2 };

constexpr std::int32_t dequantizeCode = 6;

std::optional<Operation> operationFor(std::int32_t code) {
    switch (code) {
        case 0:
            return Operation::Add;
        case 2:
            return Operation::Concatenation;
        case 3:
            return Operation::Convolution;
        case 4:
            return Operation::Depthwise;
        case 17:
            return Operation::MaxPool;
        case 19:
            return Operation::Relu;
        case 22:
            return Operation::Reshape;
        case 34:
            return Operation::Pad;
        case 54:
            return Operation::Prelu;
        default:
            return std::nullopt;
    }
}

/// IEEE 754 half to single precision; exact.
float floatFromHalf(std::uint16_t half) {
    const std::uint32_t sign = (half & 0x8000u) << 16;
    const std::uint32_t magnitude = half & 0x7fffu;
    if (magnitude >= 0x7c00u) {
        return std::bit_cast<float>(sign | 0x7f800000u | ((magnitude & 0x3ffu) << 13));
    }
    // Shifted into place the exponent is too small by 2^112, which holds for subnormals too.
    const float value = std::bit_cast<float>(magnitude << 13) * 0x1p112f;
    return std::bit_cast<float>(sign | std::bit_cast<std::uint32_t>(value));
}

std::int32_t operatorCode(const FlatTable& table) {
    // Codes up to 127 used to stand in a byte of their own.
    const auto old = table.scalar<std::int8_t>(0, 0);
    const auto current = table.scalar<std::int32_t>(3, 0);
    return current > old ? current : old;
}

std::vector<std::size_t> readIndexes(const FlatVector& vector, std::size_t limit) {
    std::vector<std::size_t> indexes;
    for (std::size_t i = 0; i < vector.size(); ++i) {
        const auto index = vector.scalar<std::int32_t>(i);
        if (index < 0 || static_cast<std::size_t>(index) >= limit) {
            throw ModelError("an operator refers to a tensor that does not exist");
        }
        indexes.push_back(static_cast<std::size_t>(index));
    }
    return indexes;
}

Shape readShape(const FlatVector& vector) {
    Shape shape;
    std::size_t elements = 1;
    for (std::size_t i = 0; i < vector.size(); ++i) {
        const auto extent = vector.scalar<std::int32_t>(i);
        if (extent <= 0 || i >= 6) {
            throw ModelError("a tensor has an impossible shape");
        }
        elements *= static_cast<std::size_t>(extent);
        if (elements > maximumElements) {
            throw ModelError("a tensor is too large");
        }
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return shape;
}

Tensor readTensor(const FlatTable& table, const FlatVector& buffers) {
    Tensor tensor;
    tensor.shape = readShape(table.vector(0));
    const std::span<const std::byte> data =
        buffers.table(table.scalar<std::uint32_t>(2, 0)).vector(0).raw();
    if (data.empty()) {
        return tensor;
    }
    const std::size_t count = elementCount(tensor.shape);
    switch (table.scalar<TensorType>(1, TensorType::Float32)) {
        case TensorType::Float32: {
            tensor.constant.resize(count);
            std::memcpy(tensor.constant.data(), FlatTable::slice(data, 0, count * 4).data(),
                        count * 4);
            return tensor;
        }
        case TensorType::Float16: {
            const auto halves = FlatTable::slice(data, 0, count * 2);
            tensor.constant.resize(count);
            for (std::size_t i = 0; i < count; ++i) {
                tensor.constant[i] = floatFromHalf(FlatTable::read<std::uint16_t>(halves, i * 2));
            }
            return tensor;
        }
        case TensorType::Int32: {
            tensor.integers.resize(count);
            std::memcpy(tensor.integers.data(), FlatTable::slice(data, 0, count * 4).data(),
                        count * 4);
            return tensor;
        }
    }
    throw ModelError("a tensor holds an unknown type of number");
}

std::uint32_t positive(const FlatTable& options, std::size_t field, std::int32_t absent) {
    const auto value = options.scalar<std::int32_t>(field, absent);
    if (value < 1 || value > 64) {
        throw ModelError("an operator has an impossible stride or window");
    }
    return static_cast<std::uint32_t>(value);
}

Window readWindow(Operation operation, const std::optional<FlatTable>& options) {
    const bool slides = operation == Operation::Convolution || operation == Operation::Depthwise ||
                        operation == Operation::MaxPool;
    if (!slides) {
        if (operation == Operation::Concatenation && options &&
            options->scalar<std::int32_t>(0, 0) != 1) {
            throw ModelError("a concatenation is not along the second axis");
        }
        const bool fuses = operation == Operation::Add || operation == Operation::Concatenation;
        const std::size_t activation = operation == Operation::Add ? 0 : 1;
        if (fuses && options && options->scalar<std::int8_t>(activation, 0) != 0) {
            throw ModelError("an operator has a built-in activation");
        }
        return {};
    }
    if (!options) {
        throw ModelError("an operator has no options");
    }
    Window window;
    window.samePadding = options->scalar<std::int8_t>(0, 0) == 0;
    window.strideWidth = positive(*options, 1, 0);
    window.strideHeight = positive(*options, 2, 0);
    std::size_t activation = 3;
    if (operation == Operation::MaxPool) {
        window.width = positive(*options, 3, 0);
        window.height = positive(*options, 4, 0);
        activation = 5;
    } else {
        std::size_t dilation = 4;
        if (operation == Operation::Depthwise) {
            if (positive(*options, 3, 0) != 1) {
                throw ModelError("a depthwise convolution multiplies its channels");
            }
            activation = 4;
            dilation = 5;
        }
        if (positive(*options, dilation, 1) != 1 || positive(*options, dilation + 1, 1) != 1) {
            throw ModelError("a convolution is dilated");
        }
    }
    if (options->scalar<std::int8_t>(activation, 0) != 0) {
        throw ModelError("an operator has a built-in activation");
    }
    return window;
}

}  // namespace

std::size_t elementCount(const Shape& shape) {
    std::size_t count = 1;
    for (const std::size_t extent : shape) {
        count *= extent;
    }
    return count;
}

Model readModel(std::span<const std::byte> file) {
    const FlatTable root = FlatTable::root(file);
    if (root.scalar<std::uint32_t>(0, 0) != 3) {
        throw ModelError("not a TensorFlow Lite model of version 3");
    }
    const FlatVector codes = root.vector(1);
    const FlatTable graph = root.vector(2).table(0);
    const FlatVector buffers = root.vector(4);

    Model model;
    const FlatVector tensors = graph.vector(0);
    for (std::size_t i = 0; i < tensors.size(); ++i) {
        model.tensors.push_back(readTensor(tensors.table(i), buffers));
    }
    model.inputs = readIndexes(graph.vector(1), model.tensors.size());
    model.outputs = readIndexes(graph.vector(2), model.tensors.size());

    const FlatVector operators = graph.vector(3);
    for (std::size_t i = 0; i < operators.size(); ++i) {
        const FlatTable entry = operators.table(i);
        const std::int32_t code = operatorCode(codes.table(entry.scalar<std::uint32_t>(0, 0)));
        const auto inputs = readIndexes(entry.vector(1), model.tensors.size());
        const auto outputs = readIndexes(entry.vector(2), model.tensors.size());
        if (inputs.empty() || outputs.size() != 1) {
            throw ModelError("an operator has no input, or not one output");
        }
        if (code == dequantizeCode) {
            // Only weights are stored in half precision, and those are converted already.
            Tensor& source = model.tensors[inputs[0]];
            Tensor& target = model.tensors[outputs[0]];
            if (&source == &target || source.constant.empty() || source.shape != target.shape) {
                throw ModelError("something other than a weight is quantised");
            }
            target.constant = std::move(source.constant);
            source.constant.clear();
            continue;
        }
        const std::optional<Operation> operation = operationFor(code);
        if (!operation) {
            throw ModelError("unknown operator " + std::to_string(code));
        }
        model.steps.push_back(
            {*operation, inputs, outputs[0], readWindow(*operation, entry.table(4))});
    }
    checkModel(model);
    return model;
}

}  // namespace velmaro::networks

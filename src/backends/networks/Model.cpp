#include "backends/networks/Model.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "TensorFlowLite_generated.h"
#include "backends/networks/ModelError.h"

namespace velmaro::networks {
namespace {

static_assert(std::endian::native == std::endian::little,
              "constants are little-endian and copied as they are");

/// More than ten times what the models need; keeps a damaged shape from asking for all memory.
constexpr std::size_t kMaximumElements = std::size_t{1} << 23;

std::optional<Operation> operationFor(format::OperatorCode code) {
    switch (code) {
        case format::OperatorCode::add:
            return Operation::add;
        case format::OperatorCode::concatenation:
            return Operation::concatenation;
        case format::OperatorCode::convolution:
            return Operation::convolution;
        case format::OperatorCode::depthwise:
            return Operation::depthwise;
        case format::OperatorCode::maxPool:
            return Operation::maxPool;
        case format::OperatorCode::relu:
            return Operation::relu;
        case format::OperatorCode::reshape:
            return Operation::reshape;
        case format::OperatorCode::pad:
            return Operation::pad;
        case format::OperatorCode::prelu:
            return Operation::prelu;
        case format::OperatorCode::dequantize:
            break;
    }
    return std::nullopt;
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

template <typename Element>
const Element& at(const flatbuffers::Vector<flatbuffers::Offset<Element>>& list,
                  std::uint32_t index) {
    if (index >= list.size()) {
        throw ModelError("an index points beyond its list");
    }
    return *list.Get(index);
}

std::vector<std::size_t> readIndexes(const flatbuffers::Vector<std::int32_t>& list,
                                     std::size_t limit) {
    std::vector<std::size_t> indexes;
    for (const std::int32_t index : list) {
        if (index < 0 || static_cast<std::size_t>(index) >= limit) {
            throw ModelError("an operator refers to a tensor that does not exist");
        }
        indexes.push_back(static_cast<std::size_t>(index));
    }
    return indexes;
}

Shape readShape(const flatbuffers::Vector<std::int32_t>* list) {
    Shape shape;
    std::size_t elements = 1;
    for (std::uint32_t i = 0; list && i < list->size(); ++i) {
        const std::int32_t extent = list->Get(i);
        if (extent <= 0 || i >= 6) {
            throw ModelError("a tensor has an impossible shape");
        }
        elements *= static_cast<std::size_t>(extent);
        if (elements > kMaximumElements) {
            throw ModelError("a tensor is too large");
        }
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return shape;
}

template <typename Number>
std::vector<Number> readConstant(const flatbuffers::Vector<std::uint8_t>& data, std::size_t count) {
    if (data.size() < count * sizeof(Number)) {
        throw ModelError("a tensor holds fewer numbers than its shape");
    }
    std::vector<Number> numbers(count);
    std::memcpy(numbers.data(), data.data(), count * sizeof(Number));
    return numbers;
}

Tensor readTensor(const format::Tensor& from, const format::File& file) {
    Tensor tensor;
    tensor.shape = readShape(from.shape());
    const auto* data = at(*file.buffers(), from.buffer()).data();
    if (!data || data->size() == 0) {
        return tensor;
    }
    const std::size_t count = elementCount(tensor.shape);
    switch (from.type()) {
        case format::TensorType::float32:
            tensor.constant = readConstant<float>(*data, count);
            return tensor;
        case format::TensorType::float16:
            tensor.constant.resize(count);
            std::ranges::transform(readConstant<std::uint16_t>(*data, count),
                                   tensor.constant.begin(), floatFromHalf);
            return tensor;
        case format::TensorType::int32:
            tensor.integers = readConstant<std::int32_t>(*data, count);
            return tensor;
    }
    throw ModelError("a tensor holds an unknown type of number");
}

/// The options of one kind of operator, of which none has an activation of its own.
template <typename Options>
const Options& plain(const Options* options) {
    if (!options) {
        throw ModelError("an operator has no options");
    }
    if (options->activation() != 0) {
        throw ModelError("an operator has a built-in activation");
    }
    return *options;
}

std::uint32_t positive(std::int32_t value) {
    if (value < 1 || value > 64) {
        throw ModelError("an operator has an impossible stride or window");
    }
    return static_cast<std::uint32_t>(value);
}

template <typename Options>
Window readStrides(const Options& options) {
    return {options.padding() == format::Padding::same, positive(options.stride_height()),
            positive(options.stride_width()), 0, 0};
}

template <typename Options>
Window readFilter(const Options& options) {
    if (options.dilation_width() != 1 || options.dilation_height() != 1) {
        throw ModelError("a convolution is dilated");
    }
    return readStrides(options);
}

Window readWindow(Operation operation, const format::Operator& from) {
    switch (operation) {
        case Operation::convolution:
            return readFilter(plain(from.options_as_ConvolutionOptions()));
        case Operation::depthwise: {
            const auto& options = plain(from.options_as_DepthwiseOptions());
            if (options.multiplier() != 1) {
                throw ModelError("a depthwise convolution multiplies its channels");
            }
            return readFilter(options);
        }
        case Operation::maxPool: {
            const auto& options = plain(from.options_as_PoolOptions());
            Window window = readStrides(options);
            window.height = positive(options.height());
            window.width = positive(options.width());
            return window;
        }
        case Operation::concatenation:
            if (plain(from.options_as_ConcatenationOptions()).axis() != 1) {
                throw ModelError("a concatenation is not along the second axis");
            }
            return {};
        case Operation::add:
            plain(from.options_as_AddOptions());
            return {};
        case Operation::pad:
        case Operation::prelu:
        case Operation::relu:
        case Operation::reshape:
            return {};
    }
    return {};
}

/// Only weights are stored in half precision, and those are converted already.
void moveWeights(Tensor& source, Tensor& target) {
    if (&source == &target || source.constant.empty() || source.shape != target.shape) {
        throw ModelError("something other than a weight is quantised");
    }
    target.constant = std::move(source.constant);
    source.constant.clear();
}

void addStep(Model& model, const format::Operator& from, const format::File& file) {
    const format::OperatorKind& kind = at(*file.kinds(), from.kind());
    const auto code =
        std::max(kind.code(), static_cast<format::OperatorCode>(std::int32_t{kind.old_code()}));
    const auto inputs = readIndexes(*from.inputs(), model.tensors.size());
    const auto outputs = readIndexes(*from.outputs(), model.tensors.size());
    if (inputs.empty() || outputs.size() != 1) {
        throw ModelError("an operator has no input, or not one output");
    }
    if (code == format::OperatorCode::dequantize) {
        moveWeights(model.tensors[inputs[0]], model.tensors[outputs[0]]);
        return;
    }
    const std::optional<Operation> operation = operationFor(code);
    if (!operation) {
        throw ModelError("unknown operator " + std::to_string(static_cast<std::int32_t>(code)));
    }
    model.steps.push_back({*operation, inputs, outputs[0], readWindow(*operation, from)});
}

Model read(std::span<const std::byte> bytes) {
    const auto* start = reinterpret_cast<const std::uint8_t*>(bytes.data());
    flatbuffers::Verifier verifier(start, bytes.size());
    if (!format::VerifyFileBuffer(verifier)) {
        throw ModelError("not a TensorFlow Lite model, or a damaged one");
    }
    const format::File& file = *format::GetFile(start);
    if (file.version() != 3) {
        throw ModelError("not a TensorFlow Lite model of version 3");
    }
    const format::Graph& graph = at(*file.graphs(), 0);
    Model model;
    for (const format::Tensor* tensor : *graph.tensors()) {
        model.tensors.push_back(readTensor(*tensor, file));
    }
    model.inputs = readIndexes(*graph.inputs(), model.tensors.size());
    model.outputs = readIndexes(*graph.outputs(), model.tensors.size());
    for (const format::Operator* each : *graph.operators()) {
        addStep(model, *each, file);
    }
    return model;
}

}  // namespace

std::size_t elementCount(const Shape& shape) {
    std::size_t count = 1;
    for (const std::size_t extent : shape) {
        count *= extent;
    }
    return count;
}

Result<Model> readModel(std::span<const std::byte> file) {
    try {
        Model model = read(file);
        return checkModel(model).map([&] { return std::move(model); });
    } catch (const ModelError& error) {
        return failure(error.what());
    }
}

}  // namespace velmaro::networks

#include "backends/networks/NeuralNetwork.h"

#include <xnnpack.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "backends/networks/ModelError.h"

namespace velmaro::networks {
namespace {

/// The library may read, but not use, this much beyond a buffer: XNN_EXTRA_BYTES of any release.
constexpr std::size_t kSlack = std::max<std::size_t>(XNN_EXTRA_BYTES, 128) / sizeof(float);
constexpr float kInfinity = std::numeric_limits<float>::infinity();

void require(xnn_status status, const char* what) {
    if (status != xnn_status_success) {
        throw ModelError(std::string("XNNPACK refuses ") + what + " (status " +
                         std::to_string(static_cast<int>(status)) + ")");
    }
}

struct SubgraphDeleter {
    void operator()(xnn_subgraph* subgraph) const { xnn_delete_subgraph(subgraph); }
};

}  // namespace

/// Turns a checked model into the library's own graph.
class NeuralNetwork::Builder {
public:
    explicit Builder(NeuralNetwork& network) : network_(network), model_(network.model_) {
        xnn_subgraph* subgraph = nullptr;
        require(
            xnn_create_subgraph(static_cast<std::uint32_t>(model_.tensors.size()), 0, &subgraph),
            "a graph");
        subgraph_.reset(subgraph);
        values_.assign(model_.tensors.size(), XNN_INVALID_VALUE_ID);
    }

    void build() {
        for (std::size_t tensor = 0; tensor < model_.tensors.size(); ++tensor) {
            if (network_.places_[tensor].external) {
                define(tensor);
            }
        }
        for (const Step& step : model_.steps) {
            add(step);
        }
        xnn_runtime* runtime = nullptr;
        // No thread pool: a second thread gains little and stalls when its core is busy.
        require(xnn_create_runtime_v2(subgraph_.get(), nullptr, 0, &runtime), "the network");
        network_.runtime_.reset(runtime);

        std::vector<xnn_external_value> externals;
        for (std::size_t tensor = 0; tensor < model_.tensors.size(); ++tensor) {
            if (network_.places_[tensor].external) {
                externals.push_back({values_[tensor], network_.buffer(tensor)});
            }
        }
        require(xnn_setup_runtime(runtime, externals.size(), externals.data()), "the buffers");
    }

private:
    std::uint32_t define(std::size_t tensor) {
        std::uint32_t& value = values_[tensor];
        if (value != XNN_INVALID_VALUE_ID) {
            return value;
        }
        const Tensor& from = model_.tensors[tensor];
        std::uint32_t flags = 0;
        std::uint32_t external = XNN_INVALID_VALUE_ID;
        if (network_.places_[tensor].external) {
            const bool enters = std::ranges::count(model_.inputs, tensor) != 0;
            flags = enters ? XNN_VALUE_FLAG_EXTERNAL_INPUT : XNN_VALUE_FLAG_EXTERNAL_OUTPUT;
            external = static_cast<std::uint32_t>(tensor);
        }
        require(xnn_define_tensor_value(subgraph_.get(), xnn_datatype_fp32, from.shape.size(),
                                        from.shape.data(), nullptr, external, flags, &value),
                "a tensor");
        return value;
    }

    std::uint32_t defineWeights(std::size_t tensor, const Shape& shape) {
        std::vector<float>& constant = model_.tensors[tensor].constant;
        if (values_[tensor] == XNN_INVALID_VALUE_ID) {
            constant.resize(elementCount(shape) + kSlack);
            require(xnn_define_tensor_value(subgraph_.get(), xnn_datatype_fp32, shape.size(),
                                            shape.data(), constant.data(), XNN_INVALID_VALUE_ID, 0,
                                            &values_[tensor]),
                    "a weight");
        }
        return values_[tensor];
    }

    void addConvolution(const Step& step, std::uint32_t input, std::uint32_t output) {
        const Shape& filter = model_.tensors[step.inputs[1]].shape;
        const std::uint32_t weights = defineWeights(step.inputs[1], filter);
        const std::uint32_t bias =
            defineWeights(step.inputs[2], model_.tensors[step.inputs[2]].shape);
        const auto height = static_cast<std::uint32_t>(filter[1]);
        const auto width = static_cast<std::uint32_t>(filter[2]);
        const std::uint32_t flags = step.window.samePadding ? XNN_FLAG_TENSORFLOW_SAME_PADDING : 0;
        if (step.operation == Operation::depthwise) {
            require(xnn_define_depthwise_convolution_2d(
                        subgraph_.get(), 0, 0, 0, 0, height, width, step.window.strideHeight,
                        step.window.strideWidth, 1, 1, 1, filter[3], -kInfinity, kInfinity, input,
                        weights, bias, output, flags),
                    "a depthwise convolution");
            return;
        }
        require(xnn_define_convolution_2d(subgraph_.get(), 0, 0, 0, 0, height, width,
                                          step.window.strideHeight, step.window.strideWidth, 1, 1,
                                          1, filter[3], filter[0], -kInfinity, kInfinity, input,
                                          weights, bias, output, flags),
                "a convolution");
    }

    void addPad(const Step& step, std::uint32_t input, std::uint32_t output) {
        const std::vector<std::int32_t>& amounts = model_.tensors[step.inputs[1]].integers;
        std::vector<std::size_t> before;
        std::vector<std::size_t> after;
        for (std::size_t i = 0; i + 1 < amounts.size(); i += 2) {
            before.push_back(static_cast<std::size_t>(amounts[i]));
            after.push_back(static_cast<std::size_t>(amounts[i + 1]));
        }
        require(xnn_define_static_constant_pad(subgraph_.get(), before.data(), after.data(), 0,
                                               input, output, 0),
                "a pad");
    }

    void add(const Step& step) {
        const bool copies =
            step.operation == Operation::reshape || step.operation == Operation::concatenation;
        if (copies) {
            // Its parts already lie in their places in the output's buffer.
            if (network_.places_[step.output].root == model_.tensors.size()) {
                throw ModelError("a reshape or concatenation is not at the end of the network");
            }
            return;
        }
        const std::uint32_t input = define(step.inputs[0]);
        const std::uint32_t output = define(step.output);
        switch (step.operation) {
            case Operation::convolution:
            case Operation::depthwise:
                return addConvolution(step, input, output);
            case Operation::maxPool:
                return require(
                    xnn_define_max_pooling_2d(
                        subgraph_.get(), 0, 0, 0, 0, step.window.height, step.window.width,
                        step.window.strideHeight, step.window.strideWidth, 1, 1, -kInfinity,
                        kInfinity, input, output,
                        step.window.samePadding ? XNN_FLAG_TENSORFLOW_SAME_PADDING : 0),
                    "a pooling");
            case Operation::add:
                return require(xnn_define_add2(subgraph_.get(), -kInfinity, kInfinity, input,
                                               define(step.inputs[1]), output, 0),
                               "an addition");
            case Operation::relu:
                return require(xnn_define_clamp(subgraph_.get(), 0, kInfinity, input, output, 0),
                               "a clamp");
            case Operation::prelu: {
                // The library wants the slopes flat; the file has them as [1, 1, channels].
                const Shape flat = {model_.tensors[step.inputs[1]].shape.back()};
                return require(xnn_define_prelu(subgraph_.get(), input,
                                                defineWeights(step.inputs[1], flat), output, 0),
                               "slopes");
            }
            case Operation::pad:
                return addPad(step, input, output);
            case Operation::reshape:
            case Operation::concatenation:
                return;
        }
    }

    NeuralNetwork& network_;
    Model& model_;
    std::unique_ptr<xnn_subgraph, SubgraphDeleter> subgraph_;
    std::vector<std::uint32_t> values_;
};

void NeuralNetwork::Deleter::operator()(xnn_runtime* runtime) const {
    xnn_delete_runtime(runtime);
}

Result<NeuralNetwork> NeuralNetwork::create(Model model) {
    try {
        return NeuralNetwork(std::move(model));
    } catch (const ModelError& error) {
        return failure(error.what());
    }
}

NeuralNetwork::NeuralNetwork(Model model) : model_(std::move(model)) {
    require(xnn_initialize(nullptr), "this processor");
    if (model_.inputs.size() != 1) {
        throw ModelError("a network has more than one input");
    }
    placeTensors();
    Builder(*this).build();
}

void NeuralNetwork::placeTensors() {
    const std::size_t nowhere = model_.tensors.size();
    places_.assign(nowhere, {nowhere, 0, false});
    buffers_.resize(nowhere);
    const auto own = [this](std::size_t tensor) {
        places_[tensor] = {tensor, 0, true};
        buffers_[tensor] =
            std::make_unique<float[]>(elementCount(model_.tensors[tensor].shape) + kSlack);
    };
    inputSize_ = elementCount(model_.tensors[model_.inputs[0]].shape);
    own(model_.inputs[0]);
    for (const std::size_t output : model_.outputs) {
        if (places_[output].root != nowhere) {
            throw ModelError("a tensor leaves the network twice");
        }
        own(output);
    }
    // Backward from the outputs: reshaping changes nothing in memory, and a concatenation along
    // the first axis that counts puts its parts one after the other.
    for (auto step = model_.steps.rbegin(); step != model_.steps.rend(); ++step) {
        Place place = places_[step->output];
        if ((step->operation != Operation::reshape &&
             step->operation != Operation::concatenation) ||
            place.root == nowhere) {
            continue;
        }
        places_[step->output].external = false;
        const std::size_t parts = step->operation == Operation::reshape ? 1 : step->inputs.size();
        for (std::size_t i = 0; i < parts; ++i) {
            const std::size_t part = step->inputs[i];
            if (places_[part].root != nowhere) {
                throw ModelError("a tensor leaves the network twice");
            }
            places_[part] = {place.root, place.offset, true};
            place.offset += elementCount(model_.tensors[part].shape);
        }
    }
}

float* NeuralNetwork::buffer(std::size_t tensor) const {
    const Place& place = places_[tensor];
    return buffers_[place.root].get() + place.offset;
}

std::span<const float> NeuralNetwork::output(std::size_t index) const {
    const std::size_t tensor = model_.outputs[index];
    return {buffer(tensor), elementCount(model_.tensors[tensor].shape)};
}

bool NeuralNetwork::run() {
    return xnn_invoke_runtime(runtime_.get()) == xnn_status_success;
}

}  // namespace velmaro::networks

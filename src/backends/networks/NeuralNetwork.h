#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "backends/networks/Model.h"

struct xnn_runtime;

namespace velmaro::networks {

/// A network made ready to run on the calling thread. One thread at a time; running allocates
/// nothing.
class NeuralNetwork {
public:
    /// Takes a model with one input. Fails when it cannot be run.
    [[nodiscard]] static Result<NeuralNetwork> create(Model model);

    /// Where the caller puts the input, rows first, channels last.
    [[nodiscard]] std::span<float> input() { return {buffer(model_.inputs[0]), inputSize_}; }

    /// The values of one output of the model, valid until the next run.
    [[nodiscard]] std::span<const float> output(std::size_t index) const;

    /// The extents of the input and of the outputs.
    [[nodiscard]] const Model& model() const { return model_; }

    /// Computes the outputs from the input. False when the library refuses.
    [[nodiscard]] bool run();

private:
    /// Throws ModelError.
    explicit NeuralNetwork(Model model);

    struct Deleter {
        void operator()(xnn_runtime* runtime) const;
    };
    class Builder;

    /// Where a tensor that enters or leaves the network lies.
    struct Place {
        std::size_t root = 0;
        std::size_t offset = 0;
        bool external = false;
    };

    [[nodiscard]] float* buffer(std::size_t tensor) const;
    void placeTensors();

    Model model_;
    std::vector<Place> places_;
    std::size_t inputSize_ = 0;
    /// By tensor; only inputs and outputs have one.
    std::vector<std::unique_ptr<float[]>> buffers_;
    /// After what it points into.
    std::unique_ptr<xnn_runtime, Deleter> runtime_;
};

}  // namespace velmaro::networks

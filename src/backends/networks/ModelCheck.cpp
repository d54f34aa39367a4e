#include <optional>

#include "backends/networks/Model.h"
#include "backends/networks/ModelError.h"

namespace velmaro::networks {
namespace {

constexpr std::size_t outputExtent(std::size_t extent, std::size_t window, std::size_t stride,
                                   bool samePadding) {
    if (samePadding) {
        return (extent + stride - 1) / stride;
    }
    return extent < window ? 0 : (extent - window) / stride + 1;
}

class Checker {
public:
    explicit Checker(const Model& model) : model_(model), known_(model.tensors.size()) {
        for (std::size_t i = 0; i < known_.size(); ++i) {
            known_[i] = !model.tensors[i].constant.empty();
        }
        for (const std::size_t input : model.inputs) {
            require(!known_[input], "an input of the network is a constant");
            known_[input] = true;
        }
    }

    void run() {
        require(!model_.inputs.empty() && !model_.outputs.empty(), "no input or no output");
        for (const Step& step : model_.steps) {
            require(!known_[step.output], "a tensor is computed twice");
            require(result(step) == shape(step.output), "a shape does not follow from its inputs");
            known_[step.output] = true;
        }
        for (const std::size_t output : model_.outputs) {
            require(known_[output] && model_.tensors[output].constant.empty(),
                    "an output is never computed");
        }
    }

private:
    static void require(bool holds, const char* otherwise) {
        if (!holds) {
            throw ModelError(otherwise);
        }
    }

    [[nodiscard]] const Shape& shape(std::size_t tensor) const {
        return model_.tensors[tensor].shape;
    }

    /// A value that an earlier step or the caller computes.
    [[nodiscard]] const Shape& value(const Step& step, std::size_t input) const {
        require(input < step.inputs.size(), "an operator lacks an input");
        const std::size_t tensor = step.inputs[input];
        require(known_[tensor] && model_.tensors[tensor].constant.empty(),
                "an operator comes before its input");
        return shape(tensor);
    }

    [[nodiscard]] const Shape& weights(const Step& step, std::size_t input) const {
        require(input < step.inputs.size() && !model_.tensors[step.inputs[input]].constant.empty(),
                "an operator lacks its weights");
        return shape(step.inputs[input]);
    }

    [[nodiscard]] const Shape& picture(const Step& step) const {
        const Shape& from = value(step, 0);
        require(from.size() == 4 && from[0] == 1, "a picture does not have the shape of one");
        return from;
    }

    [[nodiscard]] static Shape slide(const Shape& from, const Window& window, std::size_t height,
                                     std::size_t width, std::size_t channels) {
        return {1, outputExtent(from[1], height, window.strideHeight, window.samePadding),
                outputExtent(from[2], width, window.strideWidth, window.samePadding), channels};
    }

    [[nodiscard]] Shape convolution(const Step& step) const {
        const Shape& from = picture(step);
        const Shape& filter = weights(step, 1);
        const bool depthwise = step.operation == Operation::depthwise;
        require(filter.size() == 4 && filter[3] == from[3] && (!depthwise || filter[0] == 1),
                "a filter does not fit its picture");
        const std::size_t channels = depthwise ? from[3] : filter[0];
        require(weights(step, 2) == Shape{channels}, "a bias does not fit its filter");
        return slide(from, step.window, filter[1], filter[2], channels);
    }

    [[nodiscard]] Shape pad(const Step& step) const {
        Shape padded = value(step, 0);
        require(step.inputs.size() == 2, "a pad lacks its amounts");
        const std::vector<std::int32_t>& amounts = model_.tensors[step.inputs[1]].integers;
        require(amounts.size() == 2 * padded.size(), "a pad does not fit its tensor");
        for (std::size_t i = 0; i < padded.size(); ++i) {
            const std::int32_t before = amounts[2 * i];
            const std::int32_t after = amounts[2 * i + 1];
            require(before >= 0 && after >= 0 && before < 4096 && after < 4096,
                    "a pad has an impossible amount");
            padded[i] += static_cast<std::size_t>(before) + static_cast<std::size_t>(after);
        }
        return padded;
    }

    [[nodiscard]] Shape concatenation(const Step& step) const {
        Shape joined = value(step, 0);
        // Only then do the parts lie one after the other in memory.
        require(joined.size() >= 2 && joined[0] == 1, "a concatenation of unknown kind");
        for (std::size_t i = 1; i < step.inputs.size(); ++i) {
            Shape part = value(step, i);
            require(part.size() == joined.size(), "a concatenation of different shapes");
            const std::size_t length = part[1];
            part[1] = joined[1];
            require(part == joined, "a concatenation of different shapes");
            joined[1] += length;
        }
        return joined;
    }

    [[nodiscard]] Shape result(const Step& step) const {
        switch (step.operation) {
            case Operation::convolution:
            case Operation::depthwise:
                return convolution(step);
            case Operation::maxPool:
                return slide(picture(step), step.window, step.window.height, step.window.width,
                             picture(step)[3]);
            case Operation::add:
                require(value(step, 0) == value(step, 1), "an addition of different shapes");
                return value(step, 0);
            case Operation::prelu: {
                const Shape& slope = weights(step, 1);
                require(!value(step, 0).empty() && elementCount(slope) == value(step, 0).back() &&
                            !slope.empty() && slope.back() == elementCount(slope),
                        "slopes do not fit their channels");
                return value(step, 0);
            }
            case Operation::relu:
                return value(step, 0);
            case Operation::pad:
                return pad(step);
            case Operation::reshape:
                require(elementCount(value(step, 0)) == elementCount(shape(step.output)),
                        "a reshape changes the number of elements");
                return shape(step.output);
            case Operation::concatenation:
                return concatenation(step);
        }
        throw ModelError("an unknown operation");
    }

    const Model& model_;
    std::vector<bool> known_;
};

}  // namespace

Result<void> checkModel(const Model& model) {
    try {
        Checker(model).run();
        return {};
    } catch (const ModelError& error) {
        return failure(error.what());
    }
}

}  // namespace velmaro::networks

#include "backends/networks/Reference.h"

#include <algorithm>
#include <limits>

namespace velmaro::testing {
namespace {

using networks::elementCount;
using networks::Model;
using networks::Operation;
using networks::Shape;
using networks::Step;
using Values = std::vector<double>;

/// TensorFlow's SAME: as many outputs as strides begin, the odd cell of padding after the picture.
long padBefore(bool same, std::size_t in, std::size_t out, std::size_t window, std::size_t stride) {
    const auto total = static_cast<long>((out - 1) * stride + window) - static_cast<long>(in);
    return same ? std::max(total, 0L) / 2 : 0;
}

/// Calls visit(output index, input index of channel 0, window index) for every cell in a window.
template <typename Visit>
void slide(const Step& step, const Shape& in, const Shape& out, std::size_t height,
           std::size_t width, const Visit& visit) {
    const auto& window = step.window;
    const long top = padBefore(window.samePadding, in[1], out[1], height, window.strideHeight);
    const long left = padBefore(window.samePadding, in[2], out[2], width, window.strideWidth);
    for (std::size_t y = 0; y < out[1]; ++y) {
        for (std::size_t x = 0; x < out[2]; ++x) {
            for (std::size_t cell = 0; cell < height * width; ++cell) {
                const long v = static_cast<long>(y * window.strideHeight + cell / width) - top;
                const long u = static_cast<long>(x * window.strideWidth + cell % width) - left;
                if (v >= 0 && u >= 0 && v < static_cast<long>(in[1]) &&
                    u < static_cast<long>(in[2])) {
                    visit(
                        (y * out[2] + x) * out[3],
                        (static_cast<std::size_t>(v) * in[2] + static_cast<std::size_t>(u)) * in[3],
                        cell);
                }
            }
        }
    }
}

class Runner {
public:
    Runner(const Model& model, std::span<const float> input) : model_(model) {
        values[model.inputs[0]] = Values(input.begin(), input.end());
    }

    void run(const Step& step) {
        const Values& in = values.at(step.inputs[0]);
        const Shape& inShape = shape(step.inputs[0]);
        const Shape& outShape = shape(step.output);
        Values out(elementCount(outShape));
        switch (step.operation) {
            case Operation::convolution:
                convolve(step, in, inShape, out, outShape);
                break;
            case Operation::depthwise:
                convolveDepthwise(step, in, inShape, out, outShape);
                break;
            case Operation::maxPool:
                std::ranges::fill(out, -std::numeric_limits<double>::infinity());
                slide(step, inShape, outShape, step.window.height, step.window.width,
                      [&](std::size_t to, std::size_t from, std::size_t) {
                          for (std::size_t c = 0; c < inShape[3]; ++c) {
                              out[to + c] = std::max(out[to + c], in[from + c]);
                          }
                      });
                break;
            case Operation::add:
                std::ranges::transform(in, values.at(step.inputs[1]), out.begin(), std::plus());
                break;
            case Operation::relu:
                std::ranges::transform(in, out.begin(),
                                       [](double value) { return std::max(value, 0.0); });
                break;
            case Operation::prelu:
                for (std::size_t i = 0; i < in.size(); ++i) {
                    const double slope = constant(step.inputs[1])[i % inShape.back()];
                    out[i] = in[i] < 0 ? in[i] * slope : in[i];
                }
                break;
            case Operation::pad:
                pad(model_.tensors[step.inputs[1]].integers, in, inShape, out, outShape);
                break;
            case Operation::reshape:
                out = in;
                break;
            case Operation::concatenation:
                out.clear();
                for (const std::size_t part : step.inputs) {
                    out.insert(out.end(), values.at(part).begin(), values.at(part).end());
                }
                break;
        }
        values[step.output] = std::move(out);
    }

    std::map<std::size_t, Values> values;

private:
    [[nodiscard]] const Shape& shape(std::size_t tensor) const {
        return model_.tensors[tensor].shape;
    }
    [[nodiscard]] const std::vector<float>& constant(std::size_t tensor) const {
        return model_.tensors[tensor].constant;
    }

    void convolve(const Step& step, const Values& in, const Shape& inShape, Values& out,
                  const Shape& outShape) const {
        const Shape& filter = shape(step.inputs[1]);
        const float* weights = constant(step.inputs[1]).data();
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = constant(step.inputs[2])[i % outShape[3]];
        }
        const std::size_t channels = inShape[3];
        const std::size_t cells = filter[1] * filter[2];
        slide(step, inShape, outShape, filter[1], filter[2],
              [&](std::size_t to, std::size_t from, std::size_t cell) {
                  for (std::size_t o = 0; o < outShape[3]; ++o) {
                      const float* weight = weights + (o * cells + cell) * channels;
                      const double* value = in.data() + from;
                      double sum = 0;
                      for (std::size_t c = 0; c < channels; ++c) {
                          sum += value[c] * static_cast<double>(weight[c]);
                      }
                      out[to + o] += sum;
                  }
              });
    }

    void convolveDepthwise(const Step& step, const Values& in, const Shape& inShape, Values& out,
                           const Shape& outShape) const {
        const Shape& filter = shape(step.inputs[1]);
        for (std::size_t i = 0; i < out.size(); ++i) {
            out[i] = constant(step.inputs[2])[i % outShape[3]];
        }
        slide(step, inShape, outShape, filter[1], filter[2],
              [&](std::size_t to, std::size_t from, std::size_t cell) {
                  const float* weight = constant(step.inputs[1]).data() + cell * inShape[3];
                  for (std::size_t c = 0; c < inShape[3]; ++c) {
                      out[to + c] += in[from + c] * static_cast<double>(weight[c]);
                  }
              });
    }

    static void pad(const std::vector<std::int32_t>& amounts, const Values& in,
                    const Shape& inShape, Values& out, const Shape& outShape) {
        for (std::size_t i = 0; i < in.size(); ++i) {
            std::size_t rest = i;
            std::size_t to = 0;
            std::size_t stride = 1;
            for (std::size_t axis = inShape.size(); axis-- > 0;) {
                to += (rest % inShape[axis] + static_cast<std::size_t>(amounts[2 * axis])) * stride;
                rest /= inShape[axis];
                stride *= outShape[axis];
            }
            out[to] = in[i];
        }
    }

    const Model& model_;
};

}  // namespace

std::map<std::size_t, std::vector<double>> runReference(const Model& model,
                                                        std::span<const float> input) {
    Runner runner(model, input);
    for (const Step& step : model.steps) {
        runner.run(step);
    }
    return std::move(runner.values);
}

}  // namespace velmaro::testing

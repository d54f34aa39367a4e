#include <cmath>
#include <random>

#include "backends/facemesh/Letterbox.h"
#include "backends/facemesh/ModelStore.h"
#include "backends/facemesh/Testing.h"
#include "backends/facemesh/Warp.h"
#include "backends/networks/NeuralNetwork.h"
#include "backends/networks/Reference.h"

namespace velmaro::testing {
namespace {

using networks::Model;
using networks::NeuralNetwork;
using networks::Operation;
using networks::Shape;

Model model(std::string_view name) {
    return facemesh::loadModelFile(VELMARO_MODELS_DIR, name).and_then(networks::readModel).value();
}

/// The networks' values reach 375, so this is a few units in the last place of single precision
/// after some 70 layers.
constexpr double kTolerance = 5e-4;

void expectAgreement(NeuralNetwork& network, const Model& model) {
    ASSERT_TRUE(network.run());
    const auto reference = runReference(model, network.input());
    for (std::size_t i = 0; i < model.outputs.size(); ++i) {
        const auto& expected = reference.at(model.outputs[i]);
        const auto values = network.output(i);
        ASSERT_EQ(values.size(), expected.size());
        double worst = 0;
        double spread = 0;
        for (std::size_t k = 0; k < values.size(); ++k) {
            worst = std::max(worst, std::abs(values[k] - expected[k]));
            spread = std::max(spread, std::abs(expected[k]));
        }
        EXPECT_LT(worst, kTolerance) << "output " << i << ", values up to " << spread;
        EXPECT_GT(spread, 1);
    }
}

TEST(NeuralNetwork, TheDetectorAgreesWithTheDefinitionsOfItsOperators) {
    const Model definition = model(facemesh::kDetectorFile);
    NeuralNetwork network = NeuralNetwork::create(definition).value();
    facemesh::Letterbox(128).fill(Portrait().frame(640, 360, 320, 170, 150).view(),
                                  {0, 0, 640, 360}, network.input());
    expectAgreement(network, definition);
}

TEST(NeuralNetwork, TheLandmarksAgreeWithTheDefinitionsOfTheirOperators) {
    const Model definition = model(facemesh::kLandmarkFile);
    NeuralNetwork network = NeuralNetwork::create(definition).value();
    facemesh::warp(Portrait().frame(640, 360, 320, 170, 150).view(), {{320, 170}, 225, {1, 0}}, 192,
                   network.input());
    expectAgreement(network, definition);
}

/// One convolution of a single channel.
Model convolution(std::size_t extent, std::size_t window, std::uint32_t stride, bool same,
                  const std::vector<float>& filter) {
    const std::size_t out = same ? (extent + stride - 1) / stride : (extent - window) / stride + 1;
    Model model;
    model.tensors = {{{1, extent, extent, 1}, {}, {}},
                     {{1, window, window, 1}, filter, {}},
                     {{1}, {0.0F}, {}},
                     {{1, out, out, 1}, {}, {}}};
    model.steps = {{Operation::convolution, {0, 1, 2}, 3, {same, stride, stride, 0, 0}}};
    model.inputs = {0};
    model.outputs = {3};
    EXPECT_TRUE(networks::checkModel(model));
    return model;
}

TEST(NeuralNetwork, PaddingOfAStrideOfTwoIsOnTheFarSide) {
    // Of a window of three over an even extent only the far border is padded, so the upper left
    // weight meets the very first cell.
    NeuralNetwork three =
        NeuralNetwork::create(convolution(4, 3, 2, true, {1, 0, 0, 0, 0, 0, 0, 0, 0})).value();
    for (std::size_t i = 0; i < 16; ++i) {
        three.input()[i] = static_cast<float>(i + 1);
    }
    ASSERT_TRUE(three.run());
    EXPECT_FLOAT_EQ(three.output(0)[0], 1);
    EXPECT_FLOAT_EQ(three.output(0)[1], 3);
    EXPECT_FLOAT_EQ(three.output(0)[2], 9);

    // Of a window of five it is one before and two after.
    std::vector<float> second(25);
    second[6] = 1;
    NeuralNetwork five = NeuralNetwork::create(convolution(4, 5, 2, true, second)).value();
    std::copy(three.input().begin(), three.input().end(), five.input().begin());
    ASSERT_TRUE(five.run());
    EXPECT_FLOAT_EQ(five.output(0)[0], 1);
    EXPECT_FLOAT_EQ(five.output(0)[3], 11);
}

TEST(NeuralNetwork, RunsTwiceWithTheSameResult) {
    NeuralNetwork network = NeuralNetwork::create(model(facemesh::kLandmarkFile)).value();
    std::ranges::fill(network.input(), 0.5F);
    ASSERT_TRUE(network.run());
    const std::vector<float> first(network.output(0).begin(), network.output(0).end());
    ASSERT_TRUE(network.run());
    EXPECT_TRUE(std::ranges::equal(first, network.output(0)));
}

TEST(NeuralNetwork, RefusesAReshapeInTheMiddle) {
    Model model = convolution(4, 1, 1, true, {1});
    model.tensors.push_back({{1, 4, 4, 1}, {}, {}});
    model.tensors.push_back({{1, 4, 4, 1}, {}, {}});
    model.steps.push_back({Operation::reshape, {3}, 4, {}});
    model.steps.push_back({Operation::relu, {4}, 5, {}});
    model.outputs = {5};
    EXPECT_TRUE(networks::checkModel(model));
    EXPECT_FALSE(NeuralNetwork::create(std::move(model)));
}

TEST(NeuralNetwork, RefusesTwoInputs) {
    Model model = convolution(4, 1, 1, true, {1});
    model.tensors.push_back({{1, 4, 4, 1}, {}, {}});
    model.inputs.push_back(4);
    EXPECT_FALSE(NeuralNetwork::create(std::move(model)));
}

}  // namespace
}  // namespace velmaro::testing

#include "backends/networks/Model.h"

#include <gmock/gmock.h>

#include "Detector.h"
#include "TensorFlowLite_generated.h"
#include "backends/facemesh/ModelStore.h"
#include "backends/facemesh/Portrait.h"

namespace velmaro::networks {
namespace {

template <typename Value>
std::string failureOf(const Result<Value>& result) {
    return result ? "" : result.error().description;
}

std::size_t count(const Model& model, Operation operation) {
    return static_cast<std::size_t>(std::ranges::count(model.steps, operation, &Step::operation));
}

TEST(Model, ReadsTheDetector) {
    const Model model = readModel(detector()).value();
    EXPECT_EQ(model.tensors[model.inputs[0]].shape, (Shape{1, 128, 128, 3}));
    EXPECT_EQ(model.tensors[model.outputs[0]].shape, (Shape{1, 896, 16}));
    EXPECT_EQ(model.tensors[model.outputs[1]].shape, (Shape{1, 896, 1}));
    EXPECT_EQ(count(model, Operation::convolution), 21U);
    EXPECT_EQ(count(model, Operation::depthwise), 16U);
    EXPECT_EQ(count(model, Operation::pad), 11U);
    EXPECT_EQ(count(model, Operation::concatenation), 2U);
}

TEST(Model, ReadsTheLandmarks) {
    const Model model = facemesh::loadModelFile(VELMARO_MODELS_DIR, facemesh::kLandmarkFile)
                            .and_then(readModel)
                            .value();
    EXPECT_EQ(model.tensors[model.inputs[0]].shape, (Shape{1, 192, 192, 3}));
    EXPECT_EQ(count(model, Operation::prelu), 23U);
    EXPECT_EQ(count(model, Operation::maxPool), 6U);
}

TEST(Model, AnUnknownOperatorIsNamed) {
    auto file = detector();
    ASSERT_TRUE(format::GetMutableFile(file.data())
                    ->mutable_kinds()
                    ->GetMutableObject(0)
                    ->mutate_old_code(99));
    EXPECT_THAT(failureOf(readModel(file)), ::testing::StartsWith("unknown operator 99"));
}

TEST(Model, ANewerFormatIsRefused) {
    auto file = detector();
    EXPECT_EQ(failureOf(readModel(file)), "");
    ASSERT_TRUE(format::GetMutableFile(file.data())->mutate_version(4));
    EXPECT_EQ(failureOf(readModel(file)), "not a TensorFlow Lite model of version 3");
}

TEST(Model, NothingIsNotAModel) {
    EXPECT_FALSE(readModel({}));
    const std::vector<std::byte> zeros(4096);
    EXPECT_FALSE(readModel(zeros));
}

/// What every step of a good model must keep.
class CheckModel : public ::testing::Test {
protected:
    Model model = readModel(detector()).value();

    [[nodiscard]] std::string check() const { return failureOf(checkModel(model)); }
    Step& first(Operation operation) {
        return *std::ranges::find(model.steps, operation, &Step::operation);
    }
};

TEST_F(CheckModel, TheDetectorIsConsistent) {
    EXPECT_EQ(check(), "");
}

TEST_F(CheckModel, StepsOutOfOrder) {
    std::swap(model.steps[0], model.steps[1]);
    EXPECT_EQ(check(), "an operator comes before its input");
}

TEST_F(CheckModel, AShapeThatDoesNotFollow) {
    model.tensors[first(Operation::convolution).output].shape[1] += 1;
    EXPECT_EQ(check(), "a shape does not follow from its inputs");
}

TEST_F(CheckModel, AFilterOfOtherChannels) {
    model.tensors[first(Operation::convolution).inputs[1]].shape[3] = 4;
    EXPECT_EQ(check(), "a filter does not fit its picture");
}

TEST_F(CheckModel, ABiasOfAnotherLength) {
    model.tensors[first(Operation::convolution).inputs[2]].shape = {7};
    EXPECT_EQ(check(), "a bias does not fit its filter");
}

TEST_F(CheckModel, AConvolutionWithoutWeights) {
    model.tensors[first(Operation::convolution).inputs[1]].constant.clear();
    EXPECT_EQ(check(), "an operator lacks its weights");
}

TEST_F(CheckModel, APadOfNegativeAmount) {
    model.tensors[first(Operation::pad).inputs[1]].integers[7] = -4;
    EXPECT_EQ(check(), "a pad has an impossible amount");
}

TEST_F(CheckModel, AStepTwice) {
    model.steps.insert(model.steps.begin() + 1, model.steps[0]);
    EXPECT_EQ(check(), "a tensor is computed twice");
}

TEST_F(CheckModel, AnOutputThatNobodyComputes) {
    model.steps.pop_back();
    EXPECT_EQ(check(), "an output is never computed");
}

}  // namespace
}  // namespace velmaro::networks

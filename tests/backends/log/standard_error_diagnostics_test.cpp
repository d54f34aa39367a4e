#include <gtest/gtest.h>

#include "backends/log/StandardErrorDiagnostics.h"

namespace velmaro {
namespace {

std::string printed(const Diagnostic& diagnostic) {
    testing::internal::CaptureStderr();
    StandardErrorDiagnostics("velmaro-cli").report(diagnostic);
    return testing::internal::GetCapturedStderr();
}

TEST(StandardErrorDiagnostics, LineBeginsWithTheProgramAndEndsWithTheAdvice) {
    EXPECT_EQ(printed({.text = "no face is seen", .advice = "come closer"}),
              "velmaro-cli: no face is seen: come closer\n");
}

TEST(StandardErrorDiagnostics, NothingFollowsWhereThereIsNothingToDo) {
    EXPECT_EQ(printed({.text = "waiting for the headphones"}),
              "velmaro-cli: waiting for the headphones\n");
}

}  // namespace
}  // namespace velmaro

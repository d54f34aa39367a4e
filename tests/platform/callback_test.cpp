#include "platform/Callback.h"

#include <gtest/gtest.h>

namespace velmaro {
namespace {

TEST(Callback, DoesNothingWhileEmpty) {
    const Callback<int> callback;
    EXPECT_FALSE(callback);
    callback(1);
}

TEST(Callback, AssigningReplacesAndNullRemoves) {
    Callback<int> callback;
    int first = 0;
    int second = 0;
    callback = [&first](int value) { first = value; };
    callback(1);
    callback = [&second](int value) { second = value; };
    callback(2);
    callback = nullptr;
    callback(3);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST(Callback, ReplacedDuringItsOwnCallItRunsToTheEnd) {
    Callback<int> callback;
    int seen = 0;
    callback = [&callback, &seen, held = std::make_shared<int>(7)](int) {
        callback = nullptr;
        seen = *held;
    };
    callback(0);
    EXPECT_EQ(seen, 7);
    EXPECT_FALSE(callback);
}

}  // namespace
}  // namespace velmaro

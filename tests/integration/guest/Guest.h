#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "fakes/Eventually.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {

// What happens in the guest takes its time: its processor is an emulated one.
constexpr std::chrono::seconds kPatience{30};

using fakes::eventually;

/// Waits until a message says `expected`, to `tolerance` degrees, and tells what the last one said.
inline testing::AssertionResult arrive(const Receiver& receiver, const std::vector<float>& expected,
                                       float tolerance = 1e-4F) {
    const auto last = [&] {
        const auto messages = receiver.messages();
        return messages.empty() ? std::vector<float>() : messages.back().values;
    };
    if (eventually([&] {
            return testing::Value(last(),
                                  testing::Pointwise(testing::FloatNear(tolerance), expected));
        })) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "the last message was " << testing::PrintToString(last());
}

struct Answer {
    int status = 0;
    /// Of both outputs.
    std::string text;
};
/// Runs a line of the shell.
Answer shell(const std::string& line);

/// A line of the shell that runs the built program, with these arguments, as a user without any
/// rights.
std::string withoutRights(const std::string& arguments);

}  // namespace velmaro::integration

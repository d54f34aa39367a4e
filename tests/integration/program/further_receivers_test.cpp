#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::ElementsAre;
using testing::FloatNear;
using testing::HasSubstr;

/// A head that is held to the right, upward and to the left shoulder.
class ProgramFurtherReceivers : public testing::Test {
protected:
    Receiver::Message latest(const Receiver& receiver) const {
        EXPECT_TRUE(receiver.waitFor(3));
        return receiver.messages().back();
    }

    TemporaryFolder folder;
    const std::string motion = folder.write("held.txt",
                                            "# velmaro motion 1\ntime yaw pitch roll\n"
                                            "0 30 20 -10\n0.05 30 20 -10\n");
    Receiver receiver;
};

TEST_F(ProgramFurtherReceivers, APresetsValuesArriveAtAnIndependentReceiver) {
    Program program({"--motion-file", motion, "--receiver", "sparta", "--port", receiver.port()});
    const Receiver::Message message = latest(receiver);
    EXPECT_EQ(message.address, "/ypr");
    EXPECT_EQ(message.types, "fff");
    EXPECT_THAT(message.values,
                ElementsAre(FloatNear(-30, 1e-3), FloatNear(-20, 1e-3), FloatNear(-10, 1e-3)));
}

TEST_F(ProgramFurtherReceivers, AQuaternionPresetIsAMessageOfFour) {
    Program program({"--motion-file", motion, "--receiver", "iem", "--port", receiver.port()});
    const Receiver::Message message = latest(receiver);
    EXPECT_EQ(message.address, "/SceneRotator/quaternions");
    EXPECT_EQ(message.types, "ffff");
}

TEST_F(ProgramFurtherReceivers, SplitAnglesComeUnderAnAddressEach) {
    Program program({"--motion-file", motion, "--split", "--radians", "--port", receiver.port()});
    ASSERT_TRUE(receiver.waitFor(3));
    const auto messages = receiver.messages();
    EXPECT_EQ(messages[0].address, "/yaw");
    EXPECT_EQ(messages[1].address, "/pitch");
    EXPECT_EQ(messages[2].address, "/roll");
    EXPECT_THAT(messages[0].values, ElementsAre(FloatNear(0.5236F, 1e-3)));
}

TEST_F(ProgramFurtherReceivers, EachGetsTheSameAndADeadOneHoldsUpNone) {
    const Receiver second;
    Program program({"--motion-file", motion, "--port", receiver.port(), "--also", "127.0.0.1:1",
                     "--also", "no.such.name.invalid:9", "--also",
                     "127.0.0.1:" + second.port() + "/second"});
    const Receiver::Message first = latest(receiver);
    const Receiver::Message other = latest(second);
    EXPECT_EQ(other.address, "/second");
    EXPECT_EQ(other.values, first.values);
    EXPECT_TRUE(program.waitForErrors("cannot send to 127.0.0.1 port 1 (Connection refused)"));
    EXPECT_TRUE(program.waitForErrors("cannot send to no.such.name.invalid port 9 ("));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    // The log is about the first receiver alone.
    EXPECT_THAT(program.output(), Not(HasSubstr("OSC send error")));
    EXPECT_THAT(program.output(), HasSubstr("✅ OSC UDP connection ready\n"));
}

TEST_F(ProgramFurtherReceivers, ADeadFirstOneHoldsUpNoFurtherOne) {
    Program program({"--motion-file", motion, "--ip", "no.such.name.invalid", "--also",
                     "127.0.0.1:" + receiver.port()});
    EXPECT_TRUE(receiver.waitFor(10));
    EXPECT_TRUE(program.waitForOutput("❌ OSC connection failed: "));
}

}  // namespace
}  // namespace velmaro::integration

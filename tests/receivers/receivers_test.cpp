#include "receivers/Receivers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>

#include "Field.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using tests::turn;
using Numbers = std::array<float, 4>;

const Eigen::Vector3d kFront = Eigen::Vector3d::UnitX();
const Eigen::Vector3d kLeft = Eigen::Vector3d::UnitY();
const Eigen::Vector3d kUp = Eigen::Vector3d::UnitZ();

/// A receiver of a quaternion that turns the field by it, as SceneRotator was heard to do.
Eigen::Matrix3d turnedByQuaternion(const Numbers& q) {
    return Eigen::Quaterniond(q[0], q[1], q[2], q[3]).toRotationMatrix();
}

/// Angles of the head to the right, upward and to the right shoulder.
Eigen::Matrix3d headRightUpRight(const Numbers& v) {
    return (turn(-kUp, v[0]) * turn(-kLeft, v[1]) * turn(kFront, v[2])).transpose();
}

/// Angles of the head to the left, upward and to the right shoulder.
Eigen::Matrix3d headLeftUpRight(const Numbers& v) {
    return (turn(kUp, v[0]) * turn(-kLeft, v[1]) * turn(kFront, v[2])).transpose();
}

/// Angles of the head to the left, downward and to the right shoulder; see sparta_test.cpp.
Eigen::Matrix3d headLeftDownRight(const Numbers& v) {
    return (turn(kUp, v[0]) * turn(kLeft, v[1]) * turn(kFront, v[2])).transpose();
}

/// What each receiver makes of its values.
const std::map<std::string_view, std::function<Eigen::Matrix3d(const Numbers&)>> kFields{
    {"iem", turnedByQuaternion},         {"sparta", headLeftDownRight},
    {"ear", headRightUpRight},           {"adm-osc", headLeftUpRight},
    {"supercollider", headRightUpRight}, {"puredata", headRightUpRight},
    {"ypr", headRightUpRight},           {"quaternion", turnedByQuaternion}};

TEST(Receivers, TurnTheFieldAgainstTheHeadForEveryPose) {
    ASSERT_EQ(receivers().size(), kFields.size());
    for (const Receiver& receiver : receivers()) {
        const auto& field = kFields.at(receiver.name);
        for (int pan = -180; pan <= 180; pan += 15) {
            for (int tilt = -90; tilt <= 90; tilt += 15) {
                for (int roll = -180; roll <= 180; roll += 30) {
                    const std::array angles{static_cast<float>(pan), static_cast<float>(tilt),
                                            static_cast<float>(roll)};
                    const ConvertedValues values = convert(angles, receiver.conversion);
                    ASSERT_TRUE(
                        field(values.numbers).isApprox(tests::heardField(pan, tilt, roll), 1e-5))
                        << receiver.name << ": " << pan << " " << tilt << " " << roll;
                }
            }
        }
    }
}

TEST(Receivers, AreSentToTheirPortAndAddress) {
    EXPECT_EQ(findReceiver("iem")->address, "/SceneRotator/quaternions");
    EXPECT_EQ(findReceiver("sparta")->port, 9000);
    EXPECT_EQ(findReceiver("sparta")->address, "/ypr");
    EXPECT_EQ(findReceiver("adm-osc")->port, 4001);
    EXPECT_EQ(findReceiver("adm-osc")->address, "/adm/lis/ypr");
    EXPECT_EQ(findReceiver("supercollider")->port, 57120);
}

TEST(Receivers, NoOtherNameIsOne) {
    EXPECT_EQ(findReceiver(""), nullptr);
    EXPECT_EQ(findReceiver("IEM"), nullptr);
    EXPECT_EQ(findReceiver("list"), nullptr);
}

TEST(Receivers, AreNamedInOneLine) {
    EXPECT_EQ(receiverNames(),
              "iem, sparta, ear, adm-osc, supercollider, puredata, ypr, quaternion");
}

TEST(Receivers, AreListedWithFourFieldsEach) {
    const std::string list = receiverList();
    EXPECT_EQ(std::ranges::count(list, '\n'), static_cast<std::ptrdiff_t>(receivers().size()));
    EXPECT_EQ(std::ranges::count(list, '\t'), static_cast<std::ptrdiff_t>(3 * receivers().size()));
    EXPECT_THAT(list, testing::StartsWith("iem\t8000\t/SceneRotator/quaternions\t"));
}

}  // namespace
}  // namespace velmaro

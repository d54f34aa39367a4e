#include <gtest/gtest.h>

#include <unordered_set>

#include "app/InputSource.h"
#include "fakes/Capture.h"

namespace velmaro {
namespace {

TEST(InputSource, HasAnIdentifierAndALabel) {
    const InputSource camera = InputSource::camera(fakes::makeDevice("X-1", "Desk Camera"));
    EXPECT_EQ(camera.id(), "camera_X-1");
    EXPECT_EQ(camera.label(), "Desk Camera");
    EXPECT_FALSE(camera.isAirpods());
    const InputSource airpods = InputSource::airpods();
    EXPECT_EQ(airpods.id(), "airpods");
    EXPECT_EQ(airpods.label(), "AirPods");
    EXPECT_TRUE(airpods.isAirpods());
}

TEST(InputSource, IsEqualByDeviceObjectNotByIdentifier) {
    const auto device = fakes::makeDevice("X", "Camera");
    const auto twin = fakes::makeDevice("X", "Camera");
    EXPECT_EQ(InputSource::camera(device), InputSource::camera(device));
    EXPECT_NE(InputSource::camera(device), InputSource::camera(twin));
    EXPECT_EQ(InputSource::airpods(), InputSource::airpods());
    EXPECT_NE(InputSource::camera(device), InputSource::airpods());
}

TEST(InputSource, HashesLikeItsEquality) {
    const auto device = fakes::makeDevice("X", "Camera");
    const std::unordered_set<InputSource> sources{
        InputSource::camera(device), InputSource::camera(device), InputSource::airpods(),
        InputSource::airpods(), InputSource::camera(fakes::makeDevice("X", "Camera"))};
    EXPECT_EQ(sources.size(), 3U);
}

TEST(InputSource, HashesTellSourcesApart) {
    const std::hash<InputSource> hash;
    const InputSource camera = InputSource::camera(fakes::makeDevice("X", "Camera"));
    const InputSource other = InputSource::camera(fakes::makeDevice("Y", "Camera"));
    EXPECT_EQ(hash(camera), hash(InputSource(camera)));
    EXPECT_NE(hash(camera), hash(other));
    EXPECT_NE(hash(camera), hash(InputSource::camera(fakes::makeDevice("X", "Camera"))))
        << "the device counts, not its identifier";
    EXPECT_NE(hash(camera), hash(InputSource::airpods()));
}

}  // namespace
}  // namespace velmaro

#include "backends/facemesh/Pose.h"

#include <Eigen/Dense>
#include <numbers>
#include <random>

#include "backends/facemesh/ModelStore.h"
#include "backends/facemesh/Testing.h"

namespace velmaro::testing {
namespace {

using facemesh::CanonicalFace;
using facemesh::FacePoints;
using facemesh::Pose;
using facemesh::PoseEstimator;

constexpr double kDegree = std::numbers::pi / 180;

CanonicalFace canonicalFace() {
    return facemesh::loadModelFile(VELMARO_MODELS_DIR, facemesh::kCanonicalFaceFile)
        .and_then(facemesh::readCanonicalFace)
        .value();
}

/// The canonical face turned, 12 pixels a centimetre, its origin at (300, 200) of a picture.
FacePoints turned(const CanonicalFace& face, const Eigen::Matrix3d& rotation) {
    FacePoints points;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Eigen::Vector3d at = 12 * (rotation * Eigen::Vector3d(face.points[i].data()));
        points[i] = {static_cast<float>(300 + at.x()), static_cast<float>(200 - at.y()),
                     static_cast<float>(-at.z())};
    }
    return points;
}

Eigen::Matrix3d rotation(double yaw, double pitch, double roll) {
    return (Eigen::AngleAxisd(yaw * kDegree, Eigen::Vector3d::UnitY()) *
            Eigen::AngleAxisd(-pitch * kDegree, Eigen::Vector3d::UnitX()) *
            Eigen::AngleAxisd(roll * kDegree, Eigen::Vector3d::UnitZ()))
        .toRotationMatrix();
}

TEST(Pose, RecoversTheRotationOfTheCanonicalFace) {
    const CanonicalFace face = canonicalFace();
    const PoseEstimator estimator(face);
    for (const double yaw : {-80.0, -35.0, 0.0, 12.0, 60.0}) {
        for (const double pitch : {-50.0, 0.0, 25.0}) {
            for (const double roll : {-100.0, 0.0, 30.0}) {
                const Pose pose = estimator.estimate(turned(face, rotation(yaw, pitch, roll)));
                EXPECT_NEAR(pose.yaw, yaw * kDegree, 1e-4);
                EXPECT_NEAR(pose.pitch, pitch * kDegree, 1e-4);
                EXPECT_NEAR(pose.roll, roll * kDegree, 1e-4);
            }
        }
    }
}

TEST(Pose, SignsFollowTheNose) {
    const CanonicalFace face = canonicalFace();
    const PoseEstimator estimator(face);
    const auto nose = [](const FacePoints& points) { return points[1]; };
    const auto between = [](const FacePoints& points) { return points[168]; };

    const FacePoints right = turned(face, rotation(30, 0, 0));
    EXPECT_GT(nose(right).x, between(right).x);
    EXPECT_GT(estimator.estimate(right).yaw, 0.5);

    const FacePoints straight = turned(face, rotation(0, 0, 0));
    const FacePoints up = turned(face, rotation(0, 20, 0));
    EXPECT_LT(nose(up).y - between(up).y, nose(straight).y - between(straight).y);
    EXPECT_GT(estimator.estimate(up).pitch, 0.3);

    // Anticlockwise: the eye on the right rises, and y grows downward.
    const FacePoints leaning = turned(face, rotation(0, 0, 20));
    EXPECT_LT(leaning[263].y, leaning[33].y);
    EXPECT_GT(estimator.estimate(leaning).roll, 0.3);
}

TEST(Pose, NeitherSizeNorPlaceMatters) {
    const CanonicalFace face = canonicalFace();
    const PoseEstimator estimator(face);
    FacePoints points = turned(face, rotation(20, -10, 5));
    for (auto& point : points) {
        point = {3 * point.x + 1000, 3 * point.y - 700, 3 * point.z + 50};
    }
    EXPECT_NEAR(estimator.estimate(points).yaw, 20 * kDegree, 1e-4);
}

TEST(Pose, OfAFlatFaceIsStillARotation) {
    FacePoints points = {};
    const Pose pose = PoseEstimator(canonicalFace()).estimate(points);
    EXPECT_TRUE(std::isfinite(pose.yaw) && std::isfinite(pose.pitch) && std::isfinite(pose.roll));
}

TEST(CanonicalFace, LooksAtTheCamera) {
    const CanonicalFace face = canonicalFace();
    EXPECT_EQ(face.weights.size(), 33U);
    EXPECT_LT(face.points[33][0], -3) << "the eye on the picture's left, in centimetres";
    EXPECT_NEAR(face.points[33][0], -face.points[263][0], 0.01);
    EXPECT_GT(face.points[10][1], face.points[152][1]) << "forehead above chin";
    EXPECT_GT(face.points[1][2], face.points[234][2]) << "nose nearer than ear";
}

TEST(CanonicalFace, ADamagedOneIsAnError) {
    const auto file =
        facemesh::loadModelFile(VELMARO_MODELS_DIR, facemesh::kCanonicalFaceFile).value();
    EXPECT_FALSE(facemesh::readCanonicalFace({}));
    for (std::size_t length = 1; length < 19000; length += 97) {
        const std::vector<std::byte> part(file.begin(),
                                          file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(facemesh::readCanonicalFace(part));
    }
}

TEST(CanonicalFace, FlippedBytesNeverCrash) {
    const auto file =
        facemesh::loadModelFile(VELMARO_MODELS_DIR, facemesh::kCanonicalFaceFile).value();
    std::mt19937 random(13);
    int refused = 0;
    for (int round = 0; round < 2000; ++round) {
        auto altered = file;
        altered[random() % altered.size()] ^= static_cast<std::byte>(1 + random() % 255);
        if (const auto face = facemesh::readCanonicalFace(altered)) {
            EXPECT_GE(face->weights.size(), 3U);
        } else {
            ++refused;
        }
    }
    EXPECT_GT(refused, 100);
}

}  // namespace
}  // namespace velmaro::testing

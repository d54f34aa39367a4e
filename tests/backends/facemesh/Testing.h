#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "backends/facemesh/FaceMesh.h"
#include "backends/facemesh/ImageView.h"
#include "backends/facemesh/Portrait.h"

namespace velmaro::testing {

/// A face with copies of what is valid only during the call.
struct FoundFace {
    Rectangle box;
    double yaw = 0;
    std::vector<Point> noseCrest;
    std::vector<Point> leftEye;
    std::vector<Point> rightEye;
};

/// The real thing, and its answers as values.
class FaceFinder {
public:
    explicit FaceFinder(Telemetry* telemetry = nullptr) {
        auto created = FaceMesh::create(VELMARO_MODELS_DIR, telemetry);
        if (!created) {
            ADD_FAILURE() << created.error().description;
            std::abort();
        }
        mesh_ = std::move(*created);
    }

    [[nodiscard]] FaceMesh& mesh() { return *mesh_; }

    std::vector<FoundFace> find(Frame frame) {
        std::vector<FoundFace> faces;
        int calls = 0;
        EXPECT_TRUE(mesh_->perform(
            std::make_shared<const Frame>(std::move(frame)),
            [&](const FaceLandmarks::Results& results, const std::optional<Error>& error) {
                ++calls;
                EXPECT_FALSE(error);
                ASSERT_TRUE(results);
                for (const FaceObservation& face : *results) {
                    faces.push_back(copy(face));
                }
            }));
        EXPECT_EQ(calls, 1);
        return faces;
    }

private:
    static std::vector<Point> copy(const FaceRegions::Region& region) {
        return region ? std::vector<Point>(region->begin(), region->end()) : std::vector<Point>();
    }

    static FoundFace copy(const FaceObservation& face) {
        return {face.boundingBox, face.yaw.value(), copy(face.landmarks.value().noseCrest),
                copy(face.landmarks->leftEye), copy(face.landmarks->rightEye)};
    }

    std::unique_ptr<FaceMesh> mesh_;
};

inline Point mean(const std::vector<Point>& points) {
    Point sum;
    for (const Point& point : points) {
        sum.x += point.x / static_cast<double>(points.size());
        sum.y += point.y / static_cast<double>(points.size());
    }
    return sum;
}

}  // namespace velmaro::testing

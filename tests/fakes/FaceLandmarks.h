#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/FaceLandmarks.h"

namespace velmaro::fakes {

/// A picture that has a size and no pixels.
class EmptyPicture : public PixelBuffer {
public:
    EmptyPicture(int width, int height) : width_(width), height_(height) {}

    [[nodiscard]] int width() const override { return width_; }
    [[nodiscard]] int height() const override { return height_; }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return std::ptrdiff_t{4} * width_; }
    [[nodiscard]] const std::byte* baseAddress() const override { return nullptr; }

private:
    int width_;
    int height_;
};

/// A face that owns its points.
struct ScriptedFace {
    bool hasLandmarks = true;
    std::optional<std::vector<Point>> noseCrest;
    std::optional<std::vector<Point>> leftEye;
    std::optional<std::vector<Point>> rightEye;
    Rectangle boundingBox;
    std::optional<double> yaw;

    /// Valid while this face lives unchanged.
    [[nodiscard]] FaceObservation observation() const {
        FaceObservation face{.landmarks = {}, .boundingBox = boundingBox, .yaw = yaw};
        if (hasLandmarks) {
            face.landmarks = FaceRegions{noseCrest, leftEye, rightEye};
        }
        return face;
    }
};

/// Finds the faces that a test put in front of it.
class ScriptedFaceLandmarks : public FaceLandmarks {
public:
    bool perform(const std::shared_ptr<const PixelBuffer>& image,
                 const Completion& completion) override {
        ++requests;
        lastImage = image;
        if (beforeCompletion) {
            beforeCompletion();
        }
        if (!performs) {
            return false;
        }
        if (!hasResults) {
            completion(std::nullopt, error);
            return true;
        }
        std::vector<FaceObservation> observations;
        observations.reserve(faces.size());
        for (const ScriptedFace& face : faces) {
            observations.push_back(face.observation());
        }
        completion(observations, error);
        return true;
    }

    std::vector<ScriptedFace> faces;
    bool performs = true;
    bool hasResults = true;
    std::optional<Error> error;
    std::function<void()> beforeCompletion;

    int requests = 0;
    std::weak_ptr<const PixelBuffer> lastImage;
};

}  // namespace velmaro::fakes

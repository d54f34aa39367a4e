#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <vector>

#include "backends/facemesh/Portrait.h"

namespace velmaro::faces {

/// Degrees, as assets/demo/README.md defines them.
struct Angles {
    double yaw = 0;
    double pitch = 0;
};

/// One picture of the demonstration head, in red, green and blue from 0 to 255.
struct Picture {
    static constexpr int kWidth = 640;
    static constexpr int kHeight = 480;

    std::vector<float> rgb;
    Angles angles;
};

/// The demonstration clip, decoded into planes of Y, U and V, and its true angles.
class Clip {
public:
    Clip(const std::filesystem::path& planes, const std::filesystem::path& angles);

    [[nodiscard]] int size() const { return static_cast<int>(angles_.size()); }
    [[nodiscard]] Picture picture(int index);

private:
    std::ifstream planes_;
    std::vector<Angles> angles_;
};

/// In the clip at rest the face, from the forehead's highest point to the chin's lowest, is so
/// high.
inline constexpr double kFaceHeight = 211;
inline constexpr double kFaceX = 318;
inline constexpr double kFaceY = 199;

/// How a camera spoils what it sees.
struct Spoiling {
    /// Factor of the light.
    double light = 1;
    /// Standard deviation of a Gaussian blur, in pixels of the frame.
    double blur = 0;
    /// Standard deviation of the noise of each channel, in grey levels.
    double noise = 0;
    /// From fully lit on the one side of the picture to this share on the other.
    double shadow = 1;
    bool mask = false;
};

struct Placing {
    /// The middle of the face, in pixels.
    double x = 0;
    double y = 0;
    /// Pixels from forehead to chin.
    double faceHeight = 0;
};

/// Frames with heads at stated places.
class Scene {
public:
    Scene(int width, int height);

    /// A room without anybody.
    [[nodiscard]] const testing::Frame& empty() const { return empty_; }
    /// Adds a head to a frame.
    void add(testing::Frame& frame, const Picture& picture, const Placing& placing) const;
    /// Blur, light and noise; another noise at every call.
    void spoil(testing::Frame& frame, const Spoiling& spoiling);

private:
    int width_;
    int height_;
    testing::Frame empty_;
    std::minstd_rand random_{7};
    std::vector<float> noise_;
    double noiseOf_ = -1;
};

/// Covers nose, mouth and chin as a medical mask does.
void paintMask(Picture& picture);

}  // namespace velmaro::faces

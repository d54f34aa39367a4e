#include "Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

namespace velmaro::faces {
namespace {

using testing::Frame;

std::uint8_t level(float value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0F, 255.0F)));
}

/// The mean of the picture's area that one pixel of the frame covers.
std::array<float, 3> mean(const Picture& picture, float left, float top, float side) {
    const int samples = std::max(1, static_cast<int>(std::ceil(side)));
    const float step = side / static_cast<float>(samples);
    std::array<float, 3> sum = {};
    for (int i = 0; i < samples * samples; ++i) {
        const float u = std::clamp(left + (static_cast<float>(i % samples) + 0.5F) * step - 0.5F,
                                   0.0F, Picture::kWidth - 1.01F);
        const int row = i / samples;
        const float v = std::clamp(top + (static_cast<float>(row) + 0.5F) * step - 0.5F, 0.0F,
                                   Picture::kHeight - 1.01F);
        const auto x = static_cast<std::size_t>(u);
        const auto y = static_cast<std::size_t>(v);
        const float fx = u - static_cast<float>(x);
        const float fy = v - static_cast<float>(y);
        const float* upper = picture.rgb.data() + 3 * (y * Picture::kWidth + x);
        const float* lower = upper + std::ptrdiff_t{3} * Picture::kWidth;
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] += (1 - fy) * ((1 - fx) * upper[c] + fx * upper[c + 3]) +
                      fy * ((1 - fx) * lower[c] + fx * lower[c + 3]);
        }
    }
    for (float& each : sum) {
        each /= static_cast<float>(samples * samples);
    }
    return sum;
}

/// 1 inside the picture, falling to 0 at its edges, so that no edge draws a line in the room.
float cover(float u, float v) {
    const float edge =
        std::min(std::min(u, Picture::kWidth - u), std::min(v, Picture::kHeight - v));
    return std::clamp(edge / 40, 0.0F, 1.0F);
}

void blurLine(std::vector<float>& line, const std::vector<float>& kernel) {
    const std::vector<float> from = line;
    const auto size = static_cast<long>(line.size());
    const auto reach = static_cast<long>(kernel.size()) - 1;
    for (long i = 0; i < size; ++i) {
        float sum = 0;
        for (long k = -reach; k <= reach; ++k) {
            sum += kernel[static_cast<std::size_t>(std::abs(k))] *
                   from[static_cast<std::size_t>(std::clamp(i + k, 0L, size - 1))];
        }
        line[static_cast<std::size_t>(i)] = sum;
    }
}

void blur(Frame& frame, float sigma) {
    std::vector<float> kernel;
    float total = 0;
    for (int k = 0; k <= std::lround(3 * sigma); ++k) {
        kernel.push_back(std::exp(-static_cast<float>(k * k) / (2 * sigma * sigma)));
        total += (k == 0 ? 1.0F : 2.0F) * kernel.back();
    }
    for (float& each : kernel) {
        each /= total;
    }
    const auto pass = [&](int lines, int length, auto pixel) {
        std::vector<float> line(static_cast<std::size_t>(length));
        for (int channel = 0; channel < 3; ++channel) {
            for (int i = 0; i < lines; ++i) {
                for (int k = 0; k < length; ++k) {
                    line[static_cast<std::size_t>(k)] = pixel(i, k)[channel];
                }
                blurLine(line, kernel);
                for (int k = 0; k < length; ++k) {
                    pixel(i, k)[channel] = level(line[static_cast<std::size_t>(k)]);
                }
            }
        }
    };
    pass(frame.height(), frame.width(), [&](int y, int x) { return frame.pixel(x, y); });
    pass(frame.width(), frame.height(), [&](int x, int y) { return frame.pixel(x, y); });
}

/// A wall that gets darker to one side, with the edges of a window and a shelf.
Frame room(int width, int height) {
    Frame frame(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double u = static_cast<double>(x) / width;
            const double v = static_cast<double>(y) / height;
            double value = 150 - 60 * u + 10 * std::sin(9 * v + 4 * u);
            if (u > 0.06 && u < 0.24 && v > 0.1 && v < 0.45) {
                value = 215;
            }
            if (v > 0.62 && v < 0.65 && u > 0.7) {
                value = 60;
            }
            std::uint8_t* pixel = frame.pixel(x, y);
            pixel[0] = level(static_cast<float>(value * 0.92));
            pixel[1] = level(static_cast<float>(value * 0.97));
            pixel[2] = level(static_cast<float>(value));
            pixel[3] = 255;
        }
    }
    return frame;
}

}  // namespace

Clip::Clip(const std::filesystem::path& planes, const std::filesystem::path& angles)
    : planes_(planes, std::ios::binary) {
    std::ifstream table(angles);
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        std::ranges::replace(line, ',', ' ');
        std::istringstream numbers(line);
        double frame = 0;
        double time = 0;
        Angles each;
        numbers >> frame >> time >> each.yaw >> each.pitch;
        angles_.push_back(each);
    }
    constexpr std::size_t kBytes = Picture::kWidth * Picture::kHeight * 3 / 2;
    if (!planes_ || angles_.empty() ||
        std::filesystem::file_size(planes) != kBytes * angles_.size()) {
        throw std::runtime_error("the clip and its table do not fit: " + planes.string());
    }
}

Picture Clip::picture(int index) {
    constexpr std::size_t kPixels = std::size_t{Picture::kWidth} * Picture::kHeight;
    std::vector<std::uint8_t> planes(kPixels * 3 / 2);
    planes_.seekg(static_cast<std::streamoff>(planes.size()) * index);
    planes_.read(reinterpret_cast<char*>(planes.data()),
                 static_cast<std::streamsize>(planes.size()));
    Picture picture;
    picture.angles = angles_.at(static_cast<std::size_t>(index));
    picture.rgb.resize(3 * kPixels);
    for (std::size_t i = 0; i < kPixels; ++i) {
        const std::size_t quarter =
            (i / Picture::kWidth / 2) * (Picture::kWidth / 2) + (i % Picture::kWidth) / 2;
        const double y = 1.164 * (planes[i] - 16.0);
        const double u = planes[kPixels + quarter] - 128.0;
        const double v = planes[kPixels + kPixels / 4 + quarter] - 128.0;
        picture.rgb[3 * i] = static_cast<float>(std::clamp(y + 1.596 * v, 0.0, 255.0));
        picture.rgb[3 * i + 1] =
            static_cast<float>(std::clamp(y - 0.392 * u - 0.813 * v, 0.0, 255.0));
        picture.rgb[3 * i + 2] = static_cast<float>(std::clamp(y + 2.017 * u, 0.0, 255.0));
    }
    return picture;
}

Scene::Scene(int width, int height) : width_(width), height_(height), empty_(room(width, height)) {}

void Scene::add(Frame& frame, const Picture& picture, const Placing& placing) const {
    const double side = kFaceHeight / placing.faceHeight;
    const auto pixels = static_cast<float>(side);
    for (int y = 0; y < height_; ++y) {
        const auto v = static_cast<float>((y - placing.y) * side + kFaceY);
        for (int x = 0; x < width_; ++x) {
            const auto u = static_cast<float>((x - placing.x) * side + kFaceX);
            const float share = cover(u + pixels / 2, v + pixels / 2);
            if (share <= 0) {
                continue;
            }
            const auto rgb = mean(picture, u, v, pixels);
            std::uint8_t* pixel = frame.pixel(x, y);
            for (std::size_t c = 0; c < 3; ++c) {
                pixel[2 - c] =
                    level(share * rgb[c] + (1 - share) * static_cast<float>(pixel[2 - c]));
            }
        }
    }
}

void Scene::spoil(Frame& frame, const Spoiling& spoiling) {
    if (spoiling.blur > 0) {
        blur(frame, static_cast<float>(spoiling.blur));
    }
    if (spoiling.light == 1 && spoiling.shadow == 1 && spoiling.noise == 0) {
        return;
    }
    // From a table: a million normal numbers for each frame would take longer than its faces.
    constexpr std::size_t kNumbers = 1 << 16;
    if (noiseOf_ != spoiling.noise) {
        std::normal_distribution<float> normal(0, static_cast<float>(spoiling.noise));
        noise_.resize(kNumbers + static_cast<std::size_t>(4 * width_));
        std::ranges::generate(noise_, [&] { return spoiling.noise > 0 ? normal(random_) : 0; });
        noiseOf_ = spoiling.noise;
    }
    std::vector<float> light(static_cast<std::size_t>(width_));
    for (int x = 0; x < width_; ++x) {
        light[static_cast<std::size_t>(x)] =
            static_cast<float>(spoiling.light * (1 - (1 - spoiling.shadow) * x / width_));
    }
    for (int y = 0; y < frame.height(); ++y) {
        const float* noise = noise_.data() + random_() % kNumbers;
        std::uint8_t* row = frame.pixel(0, y);
        for (int i = 0; i < 4 * width_; ++i) {
            row[i] = level(light[static_cast<std::size_t>(i / 4)] * static_cast<float>(row[i]) +
                           noise[i]);
        }
    }
}

void paintMask(Picture& picture) {
    // The head turns about the neck, so that the face moves with the angles.
    constexpr double kPixelsPerDegree = 2.2;
    const double x = kFaceX + kPixelsPerDegree * picture.angles.yaw;
    const double y = kFaceY + 51 - 2.1 * picture.angles.pitch;
    for (int row = 0; row < Picture::kHeight; ++row) {
        for (int column = 0; column < Picture::kWidth; ++column) {
            const double u = (column - x) / 74;
            const double v = (row - y) / 60;
            if (u * u * u * u + v * v * v * v < 1) {
                const double shade = 1 - 0.25 * u * u;
                float* rgb =
                    picture.rgb.data() + std::ptrdiff_t{3} * (row * Picture::kWidth + column);
                rgb[0] = static_cast<float>(170 * shade);
                rgb[1] = static_cast<float>(205 * shade);
                rgb[2] = static_cast<float>(225 * shade);
            }
        }
    }
}

}  // namespace velmaro::faces

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace velmaro::gstreamer::test {

/// A directory of its own that goes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    [[nodiscard]] std::string file(const std::string& name) const {
        return (path_ / name).string();
    }

private:
    std::filesystem::path path_;
};

/// True if every element of these names, separated by blanks, is installed.
bool hasElements(const std::string& names);

/// Runs a pipeline as gst-launch would, until its end. False if it failed.
bool runPipeline(const std::string& description);

/// Grey level of the numbered frame: far enough apart to survive any codec.
constexpr int greyOfFrame(int number) {
    return 8 + 16 * number;
}
constexpr int frameOfGrey(int grey) {
    return grey / 16;
}
constexpr int kNumberedFrames = 15;

/// Grey frames 0, 1, ... `count` - 1 (at most 15), 64 x 48 at 30 frames a second, written by
/// "ENCODER ! MUXER" into a file. False if that failed.
bool writeNumberedVideo(const std::string& file, const std::string& encoderAndMuxer,
                        int count = kNumberedFrames);

/// A picture of `width` x `height` in one colour.
bool writePicture(const std::string& file, const std::string& encoder, int width, int height,
                  std::uint32_t argb);

/// A picture of `width` x `height` pixels that says by EXIF how it is to be turned. That of the
/// first two is dark but for its upper left quarter before it is turned, and its sides are even.
void writeTurnedJPEG(const std::string& file, int width, int height, int orientation);
void writeTurnedPNG(const std::string& file, int width, int height, int orientation);
void writeTurnedWebP(const std::string& file, int width, int height, int orientation);
/// Only the beginning of a picture of that size, which is as much as its size needs.
void writeHugeJPEG(const std::string& file, int width, int height);
void writeHugePNG(const std::string& file, int width, int height);
/// An animated GIF of `count` grey pictures.
void writeGIF(const std::string& file, int count);

void writeFile(const std::string& file, const std::string& content);
std::string readFile(const std::string& file);

}  // namespace velmaro::gstreamer::test

// Prints what the face landmarks of one picture are:
//   facemesh-probe [--models FOLDER] [FILE.ppm]
// Reads a binary portable pixmap (P6, 8 bits) from the file or from standard input, and writes
// JSON. Points are in pixels from the upper left corner, angles in degrees.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "backends/facemesh/FaceAnalyzer.h"

namespace {

using namespace velmaro::facemesh;

struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bgra;
};

int readNumber(std::istream& stream) {
    while ((stream >> std::ws).peek() == '#') {
        std::string comment;
        std::getline(stream, comment);
    }
    int number = 0;
    stream >> number;
    return number;
}

Picture readPixmap(std::istream& stream) {
    std::string magic(2, '\0');
    stream.read(magic.data(), 2);
    Picture picture;
    picture.width = readNumber(stream);
    picture.height = readNumber(stream);
    const int maximum = readNumber(stream);
    stream.get();
    if (!stream || magic != "P6" || maximum != 255 || picture.width < 1 || picture.height < 1 ||
        picture.width > 32768 || picture.height > 32768) {
        throw std::runtime_error("not a binary portable pixmap of 8 bits (P6, 255)");
    }
    const std::size_t pixels =
        static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    std::vector<char> rgb(3 * pixels);
    if (!stream.read(rgb.data(), static_cast<std::streamsize>(rgb.size()))) {
        throw std::runtime_error("the picture ends too early");
    }
    picture.bgra.assign(4 * pixels, 255);
    for (std::size_t i = 0; i < pixels; ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            picture.bgra[4 * i + 2 - channel] = static_cast<std::uint8_t>(rgb[3 * i + channel]);
        }
    }
    return picture;
}

void print(const Picture& picture, std::span<const Face> faces) {
    constexpr double degrees = 180 / std::numbers::pi;
    std::printf("{\"width\": %d, \"height\": %d, \"faces\": [", picture.width, picture.height);
    for (const Face& face : faces) {
        const TurnedSquare square = squareAround(face.points);
        const auto [left, right] = std::ranges::minmax(face.points, {}, &FacePoint::x);
        const auto [top, bottom] = std::ranges::minmax(face.points, {}, &FacePoint::y);
        std::printf("%s\n {\"score\": %.4f, \"presence\": %.4f,\n",
                    &face == faces.data() ? "" : ",", face.score, face.presence);
        std::printf("  \"box\": {\"x\": %.3f, \"y\": %.3f, \"width\": %.3f, \"height\": %.3f},\n",
                    left.x, top.y, right.x - left.x, bottom.y - top.y);
        std::printf("  \"square\": {\"x\": %.3f, \"y\": %.3f, \"side\": %.3f},\n", square.centre.x,
                    square.centre.y, square.side);
        std::printf("  \"yaw\": %.3f, \"pitch\": %.3f, \"roll\": %.3f,\n  \"points\": [",
                    face.pose.yaw * degrees, face.pose.pitch * degrees, face.pose.roll * degrees);
        for (std::size_t i = 0; i < face.points.size(); ++i) {
            std::printf("%s[%.3f, %.3f, %.3f]", i == 0 ? "" : ", ", face.points[i].x,
                        face.points[i].y, face.points[i].z);
        }
        std::printf("]}");
    }
    std::printf("]}\n");
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::vector<std::string> arguments(argv + 1, argv + argc);
        std::filesystem::path models = VELMARO_MODELS_DIR;
        if (arguments.size() >= 2 && arguments[0] == "--models") {
            models = arguments[1];
            arguments.erase(arguments.begin(), arguments.begin() + 2);
        }
        if (arguments.size() > 1 || (arguments.size() == 1 && arguments[0].starts_with("--"))) {
            std::fprintf(stderr, "usage: facemesh-probe [--models FOLDER] [FILE.ppm]\n");
            return 2;
        }
        std::ifstream file;
        if (!arguments.empty()) {
            file.open(arguments[0], std::ios::binary);
            if (!file) {
                throw std::runtime_error("cannot open " + arguments[0]);
            }
        }
        const Picture picture = readPixmap(arguments.empty() ? std::cin : file);
        auto analyzer = FaceAnalyzer::create(models);
        if (!analyzer) {
            throw std::runtime_error(analyzer.error().description);
        }
        print(picture, analyzer->analyze(velmaro::ImageView::ofBGRA(
                           reinterpret_cast<const std::byte*>(picture.bgra.data()),
                           std::ptrdiff_t{4} * picture.width, picture.width, picture.height)));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "facemesh-probe: %s\n", error.what());
        return 1;
    }
}

// Prints the bits of what the logic makes of many inputs, for compare.py to hold one machine's
// against another's. A line is a kind and hexadecimal digits: "float" and "double" lines depend on
// the C library's sin, cos, atan2 and asin, "bits" lines on nothing but IEEE arithmetic.

#include <array>
#include <bit>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/OrientationQuaternion.h"
#include "fakes/Dispatch.h"
#include "fakes/FaceLandmarks.h"
#include "fakes/HeadphoneMotion.h"
#include "fakes/Log.h"
#include "fakes/UserDefaults.h"
#include "fakes/WallClock.h"
#include "headphones/HeadphoneMotionManager.h"
#include "headphones/Quaternion.h"
#include "headpose/FaceDetector.h"
#include "headpose/HeadAngles.h"
#include "osc/OSCMessage.h"
#include "receivers/Conversion.h"

using namespace velmaro;

namespace {

constexpr int kInputs = 20000;

// The library's own distributions may differ from one version to another.
class Inputs {
public:
    std::uint64_t bits() { return engine_(); }
    /// Evenly spread.
    double between(double low, double high) {
        return low + (high - low) * (static_cast<double>(engine_() >> 11) * 0x1p-53);
    }
    CMQuaternion quaternion(double limit) {
        return {between(-limit, limit), between(-limit, limit), between(-limit, limit),
                between(-limit, limit)};
    }
    std::vector<Point> points(std::size_t count) {
        std::vector<Point> all(count);
        for (Point& point : all) {
            point = {between(0, 1), between(0, 1)};
        }
        return all;
    }

private:
    std::mt19937_64 engine_{1};
};

void print(std::string_view where, std::string_view kind, float value) {
    std::printf("%s %s %08" PRIx32 "\n", where.data(), kind.data(),
                std::bit_cast<std::uint32_t>(value));
}

void print(std::string_view where, std::string_view kind, double value) {
    std::printf("%s %s %016" PRIx64 "\n", where.data(), kind.data(),
                std::bit_cast<std::uint64_t>(value));
}

void print(std::string_view where, std::span<const std::byte> bytes) {
    std::printf("%s bits ", where.data());
    for (const std::byte byte : bytes) {
        std::printf("%02x", std::to_integer<unsigned>(byte));
    }
    std::printf("\n");
}

void print(std::string_view where, const std::string& text) {
    print(where, std::as_bytes(std::span(text)));
}

void printMessages(Inputs& inputs) {
    for (int i = 0; i < kInputs; ++i) {
        const std::array<float, 2> values = {
            std::bit_cast<float>(static_cast<std::uint32_t>(inputs.bits())),
            std::bit_cast<float>(static_cast<std::uint32_t>(inputs.bits()))};
        print("osc/message", createOSCMessage("/ypr", values));
    }
}

/// Every other face with a yaw, whose cosine is the library's.
fakes::ScriptedFace makeFace(Inputs& inputs, int index) {
    fakes::ScriptedFace face{.noseCrest = inputs.points(6),
                             .leftEye = inputs.points(1 + index % 7),
                             .rightEye = inputs.points(1 + index % 5),
                             .boundingBox = {inputs.between(-0.2, 1), inputs.between(-0.2, 1),
                                             inputs.between(0, 1), inputs.between(0, 1)},
                             .yaw = {}};
    if (index % 2 == 1) {
        face.yaw = inputs.between(-1.6, 1.6);
    }
    return face;
}

void printHeadAngles(Inputs& inputs) {
    for (int i = 0; i < kInputs; ++i) {
        const fakes::ScriptedFace face = makeFace(inputs, i);
        const FaceObservation observation = face.observation();
        const auto angles = rawHeadAngles(observation, *observation.landmarks, 1280, 720);
        const bool fromLibrary = face.yaw.has_value();
        print("headpose/raw", fromLibrary ? "float" : "bits", angles->pan);
        print("headpose/raw", fromLibrary ? "float" : "bits", angles->tilt);

        const float angle = std::bit_cast<float>(static_cast<std::uint32_t>(inputs.bits()));
        print("headpose/text", shortestDecimal(angle));
        print("headpose/clamp", "bits", clampAngle(angle, 90));
        print("headpose/dead_zone", "bits",
              applyTiltDeadZone(static_cast<float>(inputs.between(-90, 90))));
    }
}

/// Smoothed over all faces: without a yaw, so that no library's bit is carried on.
void printPublishedAngles(Inputs& inputs) {
    fakes::HandCrankedDispatch dispatch;
    fakes::ScriptedFaceLandmarks landmarks;
    fakes::ManualClock clock;
    fakes::CapturedLog log;
    const auto detector = FaceDetector::create(landmarks, dispatch, clock, log);
    const auto picture = std::make_shared<fakes::EmptyPicture>(1280, 720);
    for (int i = 0; i < kInputs; ++i) {
        landmarks.faces = {makeFace(inputs, 2 * i)};
        clock.time += 1;
        detector->processSampleBuffer({picture});
        dispatch.main.run();
        print("headpose/published", "bits", detector->pan.get());
        print("headpose/published", "bits", detector->tilt.get());
        for (const std::string& line : log.take()) {
            print("headpose/log", line);
        }
    }
}

void printQuaternions(Inputs& inputs) {
    for (int i = 0; i < kInputs; ++i) {
        // Some beyond unit length, which gives not-a-number.
        const CMQuaternion a = inputs.quaternion(i % 10 == 0 ? 2 : 0.5);
        const CMQuaternion product = a * conjugate(inputs.quaternion(1));
        for (const double part : {product.x, product.y, product.z, product.w}) {
            print("headphones/product", "bits", part);
        }
        const TaitBryan angles = toTaitBryan(a);
        for (const double angle : {angles.yaw, angles.pitch, angles.roll}) {
            print("headphones/angles", "double", angle);
        }
    }
}

void printHeadphones(Inputs& inputs) {
    fakes::ScriptedHeadphoneMotion motion;
    fakes::MemoryUserDefaults settings;
    fakes::HandCrankedDispatch dispatch;
    fakes::CapturedLog log;
    motion.available = true;
    const auto manager = HeadphoneMotionManager::create(motion, settings, dispatch, log);
    manager->onMotionUpdate = [](float pan, float tilt, float roll) {
        for (const float angle : {pan, tilt, roll}) {
            print("headphones/published", "float", angle);
        }
    };
    manager->start();
    for (int i = 0; i < kInputs; ++i) {
        motion.deliver(inputs.quaternion(0.6));
        dispatch.main.run();
        if (i % 100 == 0) {
            manager->setOffset();
            print("headphones/stored", manager->calibration.calibrationStore());
        }
    }
}

void printSent(Inputs& inputs) {
    for (int i = 0; i < kInputs; ++i) {
        const std::array<float, 3> angles = {static_cast<float>(inputs.between(-180, 180)),
                                             static_cast<float>(inputs.between(-90, 90)),
                                             static_cast<float>(inputs.between(-180, 180))};
        const OrientationQuaternion q = orientationQuaternion(angles[0], angles[1]);
        for (const float part : {q.w, q.x, q.y, q.z}) {
            print("app/quaternion", "float", part);
        }
        const auto turned = convert(angles, {.form = Conversion::Form::quaternion});
        for (const float part : turned.span()) {
            print("receivers/quaternion", "float", part);
        }
        const auto radians = convert(angles, {.flipped = {true, false, true}, .radians = true});
        for (const float part : radians.span()) {
            print("receivers/radians", "bits", part);
        }
    }
}

}  // namespace

int main() {
    Inputs inputs;
    printMessages(inputs);
    printHeadAngles(inputs);
    printPublishedAngles(inputs);
    printQuaternions(inputs);
    printHeadphones(inputs);
    printSent(inputs);
    return 0;
}

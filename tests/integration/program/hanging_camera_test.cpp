// Cameras that hang upside down, on their side or behind a mirror, played by files that were
// turned.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

struct Hanging {
    const char* name;
    /// GStreamer's elements that make of an upright picture what such a camera gives.
    const char* turn;
    std::vector<std::string> options;
};

void PrintTo(const Hanging& hanging, std::ostream* stream) {
    *stream << hanging.name;
}

/// Pan and tilt that are sent of the picture, when they have settled.
std::vector<float> sentOf(const std::string& picture, std::vector<std::string> options) {
    // Of each angle three tenths are new, and most messages bring one.
    constexpr std::size_t kSettled = 60;
    const Receiver receiver;
    options.insert(options.end(), {"--camera-file", picture, "--rate", "1000", "--allow-idle",
                                   "--port", receiver.port()});
    const Program program(options);
    EXPECT_TRUE(receiver.waitFor(kSettled)) << program.errors();
    const auto messages = receiver.messages();
    return messages.empty() ? std::vector<float>{NAN, NAN, NAN} : messages.back().values;
}

const std::vector<float>& sentOfTheUprightOne() {
    static const std::vector<float> sent = sentOf(VELMARO_STILL, {});
    return sent;
}

class AnyHangingCamera : public testing::TestWithParam<Hanging> {
protected:
    /// The picture of the turned head as the camera gives it.
    [[nodiscard]] std::string turnedStill() const {
        std::string file = folder_.path() / "hanging.png";
        const std::string command = std::string(VELMARO_GST_LAUNCH " -q filesrc location='") +
                                    VELMARO_STILL + "' ! pngdec ! " + GetParam().turn +
                                    " ! pngenc compression-level=1 ! filesink location='" + file +
                                    "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return file;
    }

private:
    const TemporaryFolder folder_;
};

TEST_P(AnyHangingCamera, SendsWhatAnUprightOneSends) {
    // Degrees; nothing but rounding and what has not settled differs.
    constexpr float kTolerance = 0.02F;
    const std::vector<float>& upright = sentOfTheUprightOne();
    ASSERT_GT(std::abs(upright.at(0)), 15) << "a head that looks ahead would show no sign";
    const std::vector<float> sent = sentOf(turnedStill(), GetParam().options);
    EXPECT_NEAR(sent.at(0), upright.at(0), kTolerance);
    EXPECT_NEAR(sent.at(1), upright.at(1), kTolerance);
    EXPECT_EQ(sent.at(2), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Each, AnyHangingCamera,
    testing::Values(Hanging{"OnItsLeft", "videoflip video-direction=90l", {"--rotate", "90"}},
                    Hanging{"UpsideDown", "videoflip video-direction=180", {"--rotate", "180"}},
                    Hanging{"OnItsRight", "videoflip video-direction=90r", {"--rotate", "270"}},
                    Hanging{"Mirrored", "videoflip video-direction=horiz", {"--mirror"}},
                    Hanging{"OnItsLeftAndMirrored",
                            "videoflip video-direction=horiz ! videoflip video-direction=90l",
                            {"--rotate", "90", "--mirror"}},
                    Hanging{"UpsideDownAndMirrored",
                            "videoflip video-direction=horiz ! videoflip video-direction=180",
                            {"--mirror", "--rotate", "180"}},
                    Hanging{"OnItsRightAndMirrored",
                            "videoflip video-direction=horiz ! videoflip video-direction=90r",
                            {"--rotate", "270", "--mirror"}}),
    [](const auto& hanging) { return std::string(hanging.param.name); });

TEST(HangingCamera, MirroredPicturesTurnPanRound) {
    const float pan = sentOf(VELMARO_STILL, {"--mirror"}).at(0);
    EXPECT_GT(std::abs(pan), 15);
    EXPECT_LT(pan * sentOfTheUprightOne().at(0), 0);
}

TEST(HangingCamera, AtAnotherAngleIsWrongUsageInBothPrograms) {
    for (const char* const path : {"", VELMARO_WINDOW}) {
        Program program({"--rotate", "45"}, {}, {-1, -1}, {.path = path, .prepare = {}});
        EXPECT_EQ(program.wait(), 2);
        EXPECT_THAT(program.errors(),
                    testing::HasSubstr("--rotate: '45' is no turn of a picture: give 90, 180 or "
                                       "270 (see --help)\n"));
    }
}

}  // namespace
}  // namespace velmaro::integration

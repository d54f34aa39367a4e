#include <unistd.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "LiveCamera.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

TEST_F(LiveCamera, IsListedOnceBehindTheFilesAndWithoutItsInfraredTwin) {
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(session->plugIn("infrared", "GRAY8"));
    // The first look at GStreamer's plug-ins is slow and not what is tested.
    (void)run({"--list-inputs"});
    EXPECT_EQ(run({"--list-inputs"}).output, "camera_front\tCamera-front\n");
    const Finished both = run({"--list-inputs", "--demo"});
    EXPECT_EQ(both.output, "camera_demo\tDemonstration\ncamera_front\tCamera-front\n");
    EXPECT_EQ(both.errors, "");
    EXPECT_EQ(both.status, 0);
}

TEST_F(LiveCamera, TwoAreListedInTheOrderInWhichTheyCame) {
    ASSERT_TRUE(session->plugIn("right"));
    ASSERT_TRUE(session->plugIn("left", "JPEG"));
    (void)run({"--list-inputs"});
    const Finished listed = run({"--list-inputs"});
    EXPECT_EQ(listed.output, "camera_right\tCamera-right\ncamera_left\tCamera-left\n");
    EXPECT_EQ(listed.errors, "");
}

/// The last pan that was calculated of a face, before anything is smoothed.
double lastPan(const std::string& output) {
    constexpr std::string_view kBefore = "🎯 Calculated: Pan=";
    const auto at = output.rfind(kBefore);
    return at == std::string::npos ? NAN
                                   : std::strtod(output.c_str() + at + kBefore.size(), nullptr);
}

/// The parameter is the format of the camera.
class LiveCameraFormat : public LiveCamera, public testing::WithParamInterface<const char*> {
protected:
    /// What the program calculates with these arguments.
    [[nodiscard]] double panOf(std::vector<std::string> arguments) const {
        const Receiver receiver;
        arguments.insert(arguments.end(), {"--port", receiver.port()});
        const Program program(arguments, session->environment());
        EXPECT_TRUE(receiver.waitFor(10)) << program.output() << program.errors();
        return lastPan(program.output());
    }
};

TEST_P(LiveCameraFormat, TurnsAHeadIntoDatagrams) {
    ASSERT_TRUE(session->plugIn("clip", GetParam(), PipeWireSession::kFace));
    const Receiver receiver;
    Program program({"--input", "camera_clip", "--port", receiver.port()}, session->environment());
    ASSERT_TRUE(receiver.waitFor(40)) << program.output() << program.errors();
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    for (const Receiver::Message& message : receiver.messages()) {
        EXPECT_EQ(message.address, "/ypr");
        EXPECT_EQ(message.types, "fff");
        EXPECT_LT(std::abs(message.values.at(0)), 90.0F);
    }
}

INSTANTIATE_TEST_SUITE_P(Each, LiveCameraFormat, testing::Values("YUY2", "NV12", "JPEG"),
                         [](const auto& format) { return std::string(format.param); });

/// Degrees: a still face's pan moves by one in its first pictures, and by another if they are
/// compressed, share colours or are mirrored. The wrong way round is 80 away.
constexpr double kTolerance = 3;

/// One that hangs on its side gives the pan of the upright one.
TEST_P(LiveCameraFormat, HangsOnItsSide) {
    const std::string face = PipeWireSession::kFace;
    ASSERT_TRUE(session->plugIn("upright", GetParam(), face));
    ASSERT_TRUE(session->plugIn("hanging", GetParam(),
                                face + " ! videoconvert ! videoflip video-direction=90l"));
    const double pan = panOf({"--input", "camera_upright"});
    EXPECT_NEAR(panOf({"--input", "camera_hanging", "--rotate", "90"}), pan, kTolerance);
}

/// One that mirrors gives the pan of one that does not, and without being told so its opposite.
TEST_P(LiveCameraFormat, LooksIntoAMirror) {
    const std::string face = PipeWireSession::kFace;
    ASSERT_TRUE(session->plugIn("plain", GetParam(), face));
    ASSERT_TRUE(session->plugIn("mirrored", GetParam(),
                                face + " ! videoconvert ! videoflip video-direction=horiz"));
    const double pan = panOf({"--input", "camera_plain"});
    ASSERT_GT(std::abs(pan), 15) << "a head that looks ahead would show no sign";
    EXPECT_NEAR(panOf({"--input", "camera_mirrored", "--mirror"}), pan, kTolerance);
    EXPECT_NEAR(panOf({"--input", "camera_mirrored"}), -pan, kTolerance);
    EXPECT_NEAR(panOf({"--input", "camera_plain", "--mirror"}), -pan, kTolerance);
}

TEST_F(LiveCamera, ThreeProgramsReadOneAtATime) {
    ASSERT_TRUE(session->plugIn("clip", "YUY2", PipeWireSession::kFace));
    const std::array<Receiver, 3> receivers;
    std::vector<std::unique_ptr<Program>> programs;
    programs.reserve(receivers.size());
    for (const Receiver& receiver : receivers) {
        programs.push_back(std::make_unique<Program>(
            std::vector<std::string>{"--input", "camera_clip", "--port", receiver.port()},
            session->environment()));
    }
    for (const Receiver& receiver : receivers) {
        EXPECT_TRUE(receiver.waitFor(10));
    }
    for (const auto& program : programs) {
        program->signal(SIGTERM);
        EXPECT_EQ(program->wait(), 0) << program->errors();
    }
}

TEST_F(LiveCamera, LossAndReturnAreToldWhileTheProgramRuns) {
    ASSERT_TRUE(session->plugIn("front"));
    Program program({"--input", "camera_front"}, session->environment());
    ASSERT_TRUE(program.waitForOutput("Session started running")) << program.errors();
    ASSERT_TRUE(session->unplug("front"));
    EXPECT_TRUE(program.waitForOutput(
        "❌ Capture session runtime error: the camera \"Camera-front\" was disconnected\n"));
    EXPECT_TRUE(program.waitForOutput("📷 Found 0 cameras:\n"));
    ASSERT_TRUE(session->plugIn("front"));
    EXPECT_TRUE(eventually([&] {
        const std::string output = program.output();
        return output.rfind("📷 Found 1 cameras:\n  - Camera-front") >
               output.find("📷 Found 0 cameras:\n");
    }));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
}

TEST_F(LiveCamera, TwoOfTheSameNameAreEachThemselves) {
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(session->plugIn("front@2", "YUY2",
                                "videotestsrc is-live=true pattern=white ! "
                                "video/x-raw,width=640,height=480,framerate=30/1"));
    Rig rig(live);
    ASSERT_TRUE(eventually([&] { return rig.devices().size() == 2; }));
    const auto cameras = rig.devices();
    EXPECT_EQ(cameras[0]->uniqueID(), "front");
    EXPECT_EQ(cameras[1]->uniqueID(), "front.2");
    ASSERT_EQ(rig.setUp(cameras[1]), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));
    EXPECT_EQ(rig.recorder->numbers().back(), 15) << "white";
    ASSERT_TRUE(session->unplug("front"));
    ASSERT_TRUE(eventually([&] { return rig.devices().size() == 1; }));
    EXPECT_EQ(rig.device(), cameras[1]);
    const std::size_t before = rig.recorder->count();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= before + 10; }));
    EXPECT_TRUE(rig.errors().empty());
    ASSERT_TRUE(session->unplug("front@2"));
    EXPECT_TRUE(eventually([&] { return !rig.errors().empty(); }));
    EXPECT_TRUE(eventually([&] { return !rig.isListed(); }));
}

/// How many of PipeWire's clients this process is.
int clients() {
    const std::string count =
        "pw-cli ls Client | grep -c 'pipewire.sec.pid = \"" + std::to_string(::getpid()) + "\"'";
    std::FILE* const answer = ::popen(count.c_str(), "re");
    int number = -1;
    EXPECT_EQ(std::fscanf(answer, "%d", &number), 1);
    ::pclose(answer);
    return number;
}

TEST_F(LiveCamera, EachThatIsReadHasAConnectionOfItsOwn) {
    ASSERT_TRUE(session->plugIn("left"));
    ASSERT_TRUE(session->plugIn("right"));
    Rig left(live);
    Rig right(live);
    const auto cameras = left.devices();
    ASSERT_EQ(cameras.size(), 2U);
    const int lists = clients();
    ASSERT_GE(lists, 1);
    ASSERT_EQ(left.setUp(cameras[0]), "");
    left.session->startRunning();
    EXPECT_EQ(clients(), lists + 1);
    ASSERT_EQ(right.setUp(right.devices().at(1)), "");
    right.session->startRunning();
    EXPECT_EQ(clients(), lists + 2);
    left.session->stopRunning();
    right.session->stopRunning();
    EXPECT_TRUE(eventually([&] { return clients() == lists; }));
}

TEST_F(LiveCamera, StartsAgainAfterItsReturnAndFailsAtOnceBefore) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live);
    const auto camera = rig.device();
    ASSERT_EQ(camera->uniqueID(), "front");
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(rig.session->isRunning());
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));

    ASSERT_TRUE(session->unplug("front"));
    ASSERT_TRUE(eventually([&] { return rig.errors().size() == 1; }));
    EXPECT_FALSE(rig.session->isRunning());
    EXPECT_EQ(rig.errors()[0].localizedDescription, "the camera \"Camera-front\" was disconnected");
    const auto absent = rig.capture->makeDeviceInput(camera);
    ASSERT_FALSE(absent);
    EXPECT_EQ(absent.error().localizedDescription, "the camera \"Camera-front\" is not connected");

    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(eventually([&] { return rig.isListed(); }));
    EXPECT_EQ(rig.device(), camera);
    const std::size_t before = rig.recorder->count();
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= before + 10; }));
}

TEST_F(LiveCamera, ComesBackWithANewDaemon) {
    ASSERT_TRUE(session->plugIn("front"));
    Rig rig(live);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));
    ASSERT_TRUE(session->killDaemons());
    EXPECT_TRUE(eventually([&] { return !rig.session->isRunning(); }));
    EXPECT_TRUE(eventually([&] { return !rig.isListed(); }));
    ASSERT_TRUE(session->startDaemons());
    ASSERT_TRUE(session->plugIn("front"));
    ASSERT_TRUE(eventually([&] { return rig.isListed(); }));
    const std::size_t before = rig.recorder->count();
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= before + 10; }));
}

}  // namespace
}  // namespace velmaro::integration

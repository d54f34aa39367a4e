// The whole program with a camera that the kernel presents through V4L2, without PipeWire.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <memory>
#include <string>

#include "fakes/Eventually.h"
#include "integration/guest/Guest.h"
#include "integration/guest/VirtualCamera.h"
#include "integration/support/Program.h"
#include "integration/support/Receiver.h"

namespace velmaro::integration {
namespace {

using testing::HasSubstr;

constexpr const char* kListed = "camera_platform-vivid.0\tvivid\n";

class CameraDevice : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // Cameras are found by what the device manager tells of them.
        const Answer begun = shell(
            "/usr/lib/systemd/systemd-udevd --daemon && udevadm trigger "
            "--subsystem-match=video4linux"
            " && udevadm settle");
        ASSERT_EQ(begun.status, 0) << begun.text;
        camera = std::make_unique<VirtualCamera>();
    }
    static void TearDownTestSuite() {
        camera.reset();
        shell("udevadm control --exit");
    }

    static inline std::unique_ptr<VirtualCamera> camera;
};

/// Whether a face is seen there, looking at the camera but for a few degrees: without one, each
/// message tells none. The first `known` messages came before.
void expectAFace(const Receiver& receiver, std::size_t known = 0) {
    const auto turns = [&] {
        const auto messages = receiver.messages();
        return std::any_of(messages.begin() + static_cast<std::ptrdiff_t>(known), messages.end(),
                           [](const auto& message) { return message.values[0] != 0; });
    };
    EXPECT_TRUE(fakes::eventually(turns, kPatience)) << "no face";
    for (const Receiver::Message& message : receiver.messages()) {
        EXPECT_EQ(message.address, "/ypr");
        ASSERT_EQ(message.types, "fff");
        EXPECT_LT(std::abs(message.values[0]), 30.0F);
        EXPECT_LT(std::abs(message.values[1]), 30.0F);
        EXPECT_EQ(message.values[2], 0.0F);
    }
}

TEST_F(CameraDevice, IsTrackedUntilItIsUnpluggedAndAgainAfterItsReturn) {
    EXPECT_EQ(runProgram({"--list-inputs"}).output, kListed);
    const Receiver receiver;
    Program program({"--port", receiver.port()});
    expectAFace(receiver);

    camera.reset();
    EXPECT_TRUE(program.waitForOutput(
        "❌ Capture session runtime error: the camera \"vivid\" gives no more pictures: it was "
        "probably disconnected\n"))
        << program.output() << program.errors();
    EXPECT_TRUE(program.waitForOutput("📷 Found 0 cameras:\n"));

    // It would take the camera at once, before the camera's input is chosen.
    program.signal(SIGSTOP);
    const std::size_t before = receiver.messages().size();
    camera = std::make_unique<VirtualCamera>();
    program.signal(SIGCONT);
    EXPECT_TRUE(program.waitForOutput("📷 Found 1 cameras:\n  - vivid (platform-vivid.0)\n"));
    expectAFace(receiver, before);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    const Receiver next;
    Program again({"--input", "camera_platform-vivid.0", "--port", next.port()});
    expectAFace(next);
    again.signal(SIGTERM);
    EXPECT_EQ(again.wait(), 0);
}

TEST_F(CameraDevice, IsBusyWhileAnotherProgramReadsIt) {
    ASSERT_EQ(shell("v4l2-ctl -d " + camera->file() +
                    " --stream-mmap >/tmp/reader.log 2>&1 </dev/null & sleep 1; kill -0 $!")
                  .status,
              0);
    Program program({});
    EXPECT_TRUE(program.waitForOutput(
        "❌ Capture session runtime error: the camera \"vivid\" is busy: another program uses it\n"))
        << program.output() << program.errors();
    EXPECT_EQ(program.wait(), 1) << program.output() << program.errors();
}

TEST_F(CameraDevice, WhoMayNotOpenItLearnsWhatToDo) {
    const std::string hint =
        "velmaro-cli: there are cameras, but this user may not open them: add the user to the "
        "group "
        "\"video\" (sudo usermod -aG video NAME) and log in again\n";
    // What GStreamer knows of its plug-ins: to find that out takes the emulated processor long.
    const std::string knowing = "GST_REGISTRY=/tmp/registry GST_REGISTRY_UPDATE=no ";
    const Answer copied = shell(
        "cp $HOME/.cache/gstreamer-1.0/registry.*.bin /tmp/registry && chmod a+r /tmp/registry");
    ASSERT_EQ(copied.status, 0) << copied.text;
    const Answer listed = shell(knowing + withoutRights("--list-inputs"));
    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.text, HasSubstr(kListed)) << "as for those who may";
    EXPECT_THAT(listed.text, HasSubstr(hint));
    const Answer refused = shell(knowing + withoutRights("--duration 5"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.text, HasSubstr(hint));
    EXPECT_THAT(refused.text, HasSubstr("❌ Camera access denied or restricted\n"));
    EXPECT_THAT(refused.text,
                HasSubstr("velmaro-cli: Camera access denied - check System Preferences\n"));
}

}  // namespace
}  // namespace velmaro::integration

#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Rig.h"
#include "backends/gstreamer/FileHead.h"
#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {
namespace {

using namespace test;

class FileCameraTest : public testing::Test {
protected:
    /// Why the file cannot be played, told by the set-up or by the start; empty if it can.
    std::string reason(const std::string& file) {
        Rig rig(file);
        if (std::string refusal = rig.setUp(); !refusal.empty()) {
            return refusal;
        }
        rig.session->startRunning();
        return rig.session->isRunning() ? "" : rig.errors().at(0).localizedDescription;
    }

    TemporaryDirectory directory;
};

TEST_F(FileCameraTest, IsAnExternalCameraNamedAfterTheFile) {
    ThreadDispatch dispatch;
    NotificationCenter notificationCenter;
    Telemetry telemetry;
    fakes::CapturedDiagnostics diagnostics;
    CaptureOptions options;
    options.files = {FileCamera::fromPath("some/../clip.webm"),
                     {"/usr/share/x.webm", "demo", "Demonstration"}};
    GStreamerCapture capture(dispatch, notificationCenter, telemetry, diagnostics,
                             std::move(options));

    const CaptureDeviceType builtInAndExternal[] = {CaptureDeviceType::builtInWideAngleCamera,
                                                    CaptureDeviceType::external};
    const CaptureDeviceType continuity[] = {CaptureDeviceType::continuityCamera};
    const CaptureDeviceType builtIn[] = {CaptureDeviceType::builtInWideAngleCamera};
    const CaptureDeviceType external[] = {CaptureDeviceType::external};
    const auto devices = capture.discover(builtInAndExternal);
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]->uniqueID(), "file:some/../clip.webm");
    EXPECT_EQ(devices[0]->localizedName(), "clip.webm");
    EXPECT_EQ(devices[1]->uniqueID(), "demo");
    EXPECT_EQ(devices[1]->localizedName(), "Demonstration");
    EXPECT_EQ(capture.discover(external), devices);
    EXPECT_TRUE(capture.discover(continuity).empty());
    EXPECT_TRUE(capture.discover(builtIn).empty());
}

TEST_F(FileCameraTest, NeedsNoPermission) {
    Rig rig(directory.file("any"));
    EXPECT_EQ(rig.capture->authorizationStatus(), AuthorizationStatus::authorized);
    std::atomic<int> granted = -1;
    rig.capture->requestAccess([&](bool answer) { granted = answer ? 1 : 0; });
    EXPECT_TRUE(eventually([&] { return granted.load() >= 0; }));
    EXPECT_EQ(granted, 1);
}

TEST_F(FileCameraTest, UnreadableFilesAreToldInTheSystemsWords) {
    EXPECT_EQ(reason(directory.file("missing.webm")), "No such file or directory");
    EXPECT_EQ(reason(directory.file("")), "Is a directory");
    EXPECT_EQ(reason("/dev/null"), "it is not a regular file");
    writeFile(directory.file("empty.webm"), "");
    EXPECT_EQ(reason(directory.file("empty.webm")), "it is empty");
    const std::string pipe = directory.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(reason(pipe), "it is not a regular file");
}

TEST_F(FileCameraTest, ErrorForTheLogNamesTheFile) {
    const std::string file = directory.file("missing.webm");
    Rig rig(file);
    const auto input = rig.capture->makeDeviceInput(rig.device());
    ASSERT_FALSE(input);
    EXPECT_EQ(input.error().description, "cannot play \"" + file + "\": No such file or directory");
}

TEST_F(FileCameraTest, FileWithoutPermissionIsDenied) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "the superuser may read every file";
    }
    const std::string file = directory.file("secret.webm");
    writeFile(file, "secret");
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    EXPECT_EQ(reason(file), "Permission denied");
}

TEST_F(FileCameraTest, OtherFilesAreNotPlayable) {
    const std::string words = "it is not a video or picture that can be played";
    std::string text;
    for (int i = 0; i < 500; ++i) {
        text += "To be, or not to be, that is the question.\n";
    }
    writeFile(directory.file("short.txt"), "hello\n");
    writeFile(directory.file("long.txt"), text);
    writeFile(directory.file("zeros.webm"), std::string(50000, '\0'));
    writeFile(directory.file("paper.pdf"), "%PDF-1.4\n" + text);
    EXPECT_EQ(reason(directory.file("short.txt")), words);
    EXPECT_EQ(reason(directory.file("long.txt")), words);
    EXPECT_EQ(reason(directory.file("zeros.webm")), words);
    EXPECT_EQ(reason(directory.file("paper.pdf")), words);
}

TEST_F(FileCameraTest, SoundHasNoPicture) {
    const std::string sound = "audiotestsrc num-buffers=20 ! ";
    ASSERT_TRUE(runPipeline(sound + "wavenc ! filesink location=" + directory.file("a.wav")));
    EXPECT_EQ(reason(directory.file("a.wav")), "it has no picture");
    ASSERT_TRUE(
        runPipeline(sound + "vorbisenc ! oggmux ! filesink location=" + directory.file("a.ogg")));
    EXPECT_EQ(reason(directory.file("a.ogg")), "it has no picture");
    ASSERT_TRUE(
        runPipeline(sound + "vorbisenc ! webmmux ! filesink location=" + directory.file("a.webm")));
    EXPECT_EQ(reason(directory.file("a.webm")), "it has no picture");
}

TEST_F(FileCameraTest, MissingDecoderIsNamed) {
    const std::string file = directory.file("a.webm");
    ASSERT_TRUE(writeNumberedVideo(file, "vp8enc deadline=1 ! webmmux"));
    GstRegistry* const registry = gst_registry_get();
    std::vector<GstPluginFeature*> removed;
    for (const char* name : {"vp8dec", "avdec_vp8", "vp8alphadecodebin"}) {
        if (GstPluginFeature* const feature = gst_registry_lookup_feature(registry, name)) {
            gst_registry_remove_feature(registry, feature);
            removed.push_back(feature);
        }
    }
    EXPECT_EQ(reason(file), "no decoder for VP8 is installed");
    for (GstPluginFeature* const feature : removed) {
        gst_registry_add_feature(registry, feature);
        gst_object_unref(feature);
    }
    EXPECT_EQ(reason(file), "");
}

TEST_F(FileCameraTest, VideoWithoutItsHeaderIsDamaged) {
    const std::string file = directory.file("a.mov");
    ASSERT_TRUE(writeNumberedVideo(file, "jpegenc ! qtmux"));
    const std::string whole = readFile(file);
    writeFile(directory.file("cut.mov"), whole.substr(0, whole.size() / 2));
    // What the demuxer says of it is lost in one of ten openings.
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(reason(directory.file("cut.mov")), "it is damaged or incomplete") << i;
    }
}

TEST_F(FileCameraTest, PictureCutOffIsDamagedOrShownAsFarAsItGoes) {
    const std::string file = directory.file("a.png");
    ASSERT_TRUE(writePicture(file, "pngenc", 640, 480, 0xff102030));
    const std::string whole = readFile(file);
    writeFile(directory.file("cut.png"), whole.substr(0, 60));
    const std::string words = reason(directory.file("cut.png"));
    EXPECT_FALSE(words.empty());
}

TEST_F(FileCameraTest, ATooLargePictureIsRefusedWithoutDecodingIt) {
    const std::string jpeg = directory.file("a.jpg");
    writeHugeJPEG(jpeg, 24000, 24000);
    EXPECT_EQ(Rig(jpeg).setUp(),
              "it has 24000 x 24000 pixels, more than the 64 million that can be played");
    const std::string png = directory.file("a.png");
    writeHugePNG(png, 20000, 20000);
    EXPECT_EQ(Rig(png).setUp(),
              "it has 20000 x 20000 pixels, more than the 64 million that can be played");
    EXPECT_FALSE(whyTooLarge(8000, 8000));
    EXPECT_TRUE(whyTooLarge(8001, 8000));
    EXPECT_TRUE(whyTooLarge(1 << 30, 1 << 30));
}

TEST_F(FileCameraTest, OpensNothingBeforeTheStart) {
    const std::string file = directory.file("a.png");
    ASSERT_TRUE(writePicture(file, "pngenc", 640, 480, 0xff102030));
    Rig rig(file);
    ASSERT_EQ(rig.setUp(), "");
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        EXPECT_NE(name, "capture");
    }
}

TEST_F(FileCameraTest, TheSameFileTwiceIsOneDevice) {
    const std::string file = directory.file("a.webm");
    writeFile(file, "any");
    const std::string link = directory.file("link.webm");
    std::filesystem::create_symlink(file, link);
    const std::string missing = directory.file("missing.webm");
    CaptureOptions options;
    for (const std::string& path : {file, missing, file, link, missing}) {
        options.files.push_back(FileCamera::fromPath(path));
    }
    Rig rig(std::move(options));
    ASSERT_EQ(rig.devices().size(), 2U);
    EXPECT_EQ(rig.devices()[0]->uniqueID(), "file:" + file);
    EXPECT_EQ(rig.devices()[1]->uniqueID(), "file:" + missing);
}

TEST_F(FileCameraTest, ANewlineInANameBreaksNoLine) {
    const std::string file = directory.file("two\nlines\t.webm");
    const FileCamera camera = FileCamera::fromPath(file);
    EXPECT_EQ(camera.localizedName, "two\\x0alines\\x09.webm");
    EXPECT_EQ(camera.uniqueID, "file:" + directory.file("two\\x0alines\\x09.webm"));
    EXPECT_EQ(camera.path, file);
    Rig rig(file);
    const auto input = rig.capture->makeDeviceInput(rig.device());
    ASSERT_FALSE(input);
    EXPECT_EQ(input.error().description.find('\n'), std::string::npos);
}

TEST_F(FileCameraTest, DeviceOfAnotherKindIsRefused) {
    class Other : public CaptureDevice {
    public:
        [[nodiscard]] const std::string& uniqueID() const override { return name; }
        [[nodiscard]] const std::string& localizedName() const override { return name; }
        std::string name = "other";
    };
    Rig rig(directory.file("any"));
    EXPECT_FALSE(rig.capture->makeDeviceInput(std::make_shared<Other>()));
    EXPECT_FALSE(rig.capture->makeDeviceInput(nullptr));
}

}  // namespace
}  // namespace velmaro::gstreamer

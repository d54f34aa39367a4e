#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numeric>
#include <ostream>
#include <tuple>

#include "Rig.h"
#include "backends/gstreamer/FileHead.h"
#include "backends/gstreamer/Library.h"

namespace velmaro::gstreamer {
namespace {

using namespace test;

class PlaybackTest : public testing::Test {
protected:
    TemporaryDirectory directory;
};

/// Seconds. A busy machine shows a frame late; twice or half as long would be another rate.
void expectDuration(const std::vector<Recorder::Frame>& frames, double expected) {
    const double seconds =
        std::chrono::duration<double>(frames.back().time - frames.front().time).count();
    EXPECT_GT(seconds, 0.6 * expected);
    EXPECT_LT(seconds, 1.8 * expected);
}

struct Container {
    const char* name;
    const char* needs;
    const char* encoderAndMuxer;
};

// So that a report names the container instead of its bytes.
void PrintTo(const Container& container, std::ostream* stream) {
    *stream << container.name;
}

class ContainerTest : public PlaybackTest, public testing::WithParamInterface<Container> {
protected:
    /// The numbered video in this container; empty if it cannot be made here.
    std::string video() {
        if (!hasElements(GetParam().needs)) {
            return {};
        }
        const std::string file = directory.file("numbered");
        return writeNumberedVideo(file, GetParam().encoderAndMuxer) ? file : std::string();
    }
};

TEST_P(ContainerTest, LoopsThroughAllFramesWithoutAGapAtItsOwnPace) {
    if (!hasElements(GetParam().needs)) {
        GTEST_SKIP() << "not installed: " << GetParam().needs;
    }
    const std::string file = video();
    ASSERT_FALSE(file.empty());
    Rig rig(file);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(rig.session->isRunning());
    constexpr int kFrames = 4 * kNumberedFrames + 1;
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= kFrames; }));
    rig.session->stopRunning();

    // A busy machine may drop frames; each is told, so the numbers must add up with them.
    const auto frames = rig.recorder->frames();
    const auto drops = rig.telemetry.framesDropped.load();
    EXPECT_EQ(frames[0].number, 0);
    int steps = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const int step =
            (frames[i].number - frames[i - 1].number + kNumberedFrames) % kNumberedFrames;
        steps += step == 0 ? kNumberedFrames : step;
    }
    EXPECT_GE(steps, static_cast<int>(frames.size()) - 1);
    EXPECT_LE(steps, static_cast<int>(frames.size() - 1 + drops));

    expectDuration(frames, steps / 30.0);
    EXPECT_TRUE(rig.errors().empty());
    EXPECT_EQ(rig.ended, 0);
}

TEST_P(ContainerTest, OnceShowsEveryFrameThenEnds) {
    if (!hasElements(GetParam().needs)) {
        GTEST_SKIP() << "not installed: " << GetParam().needs;
    }
    const std::string file = video();
    ASSERT_FALSE(file.empty());
    Rig rig(file, Playback::once);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.ended.load() > 0; }));
    EXPECT_EQ(rig.recorder->count() + rig.recorder->drops(),
              static_cast<std::size_t>(kNumberedFrames));
    EXPECT_EQ(rig.recorder->numbers().back(), kNumberedFrames - 1);
    EXPECT_TRUE(rig.session->isRunning());
    rig.session->stopRunning();
    EXPECT_EQ(rig.ended, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, ContainerTest,
    testing::Values(Container{"webm", "vp8enc webmmux", "vp8enc deadline=1 ! webmmux"},
                    Container{"matroska", "jpegenc matroskamux", "jpegenc ! matroskamux"},
                    Container{"avi", "jpegenc avimux", "jpegenc ! avimux"},
                    Container{"quicktime", "jpegenc qtmux", "jpegenc ! qtmux"},
                    Container{"ogg", "theoraenc oggmux", "theoraenc ! oggmux"},
                    Container{"flv", "avenc_flv flvmux", "avenc_flv ! flvmux"},
                    Container{"streamed", "vp8enc webmmux",
                              "vp8enc deadline=1 ! webmmux "
                              "streamable=true"},
                    Container{"h264", "x264enc mp4mux avdec_h264", "x264enc ! mp4mux"}),
    [](const auto& info) { return info.param.name; });

TEST_F(PlaybackTest, PicturesComeAtNativeSizeInBGRA) {
    struct Case {
        const char* encoder;
        int tolerance;
    };
    for (const Case& picture :
         {Case{"pngenc", 0},
          Case{"video/x-raw,format=I420,colorimetry=1:4:0:0 ! jpegenc quality=100", 3}}) {
        const std::string file = directory.file("picture");
        ASSERT_TRUE(writePicture(file, picture.encoder, 336, 176, 0xff4080c0));
        Rig rig(file);
        rig.recorder->keep = true;
        ASSERT_EQ(rig.setUp(), "");
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 1; }));
        rig.session->stopRunning();
        const auto image = rig.recorder->kept().at(0);
        EXPECT_EQ(image->width(), 336);
        EXPECT_EQ(image->height(), 176);
        ASSERT_GE(image->bytesPerRow(), 4 * 336);
        for (const auto& [x, y] :
             {std::pair<std::ptrdiff_t, std::ptrdiff_t>{0, 0}, {335, 0}, {0, 175}, {335, 175}}) {
            const std::byte* const pixel = image->baseAddress() + y * image->bytesPerRow() + 4 * x;
            EXPECT_NEAR(static_cast<int>(pixel[0]), 0xc0, picture.tolerance);
            EXPECT_NEAR(static_cast<int>(pixel[1]), 0x80, picture.tolerance);
            EXPECT_NEAR(static_cast<int>(pixel[2]), 0x40, picture.tolerance);
            EXPECT_EQ(static_cast<int>(pixel[3]), 0xff);
        }
    }
}

TEST_F(PlaybackTest, PictureIsShownThirtyTimesASecond) {
    const std::string file = directory.file("picture.png");
    ASSERT_TRUE(writePicture(file, "pngenc", 64, 48, 0xff808080));
    Rig rig(file);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() + rig.recorder->drops() >= 61; }));
    rig.session->stopRunning();
    const auto frames = rig.recorder->frames();
    expectDuration(frames, 2);
}

TEST_F(PlaybackTest, PictureOnceIsShownForOneSecond) {
    const std::string file = directory.file("picture.png");
    ASSERT_TRUE(writePicture(file, "pngenc", 64, 48, 0xff808080));
    Rig rig(file, Playback::once);
    ASSERT_EQ(rig.setUp(), "");
    const auto start = Clock::now();
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.ended.load() > 0; }));
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    EXPECT_GT(seconds, 0.9);
    EXPECT_EQ(rig.recorder->count() + rig.recorder->drops(), 30U);
}

TEST_F(PlaybackTest, SoundBesideThePictureIsIgnored) {
    const std::string file = directory.file("both.webm");
    ASSERT_TRUE(runPipeline(
        "webmmux name=mux ! filesink location=" + file +
        " videotestsrc num-buffers=15 ! video/x-raw,width=64,height=48,framerate=30/1 ! "
        "vp8enc deadline=1 ! mux. audiotestsrc num-buffers=21 ! vorbisenc ! mux."));
    Rig rig(file);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= 50; }));
    EXPECT_TRUE(rig.errors().empty());
}

TEST_F(PlaybackTest, VideoOfOneFrameRepeatsIt) {
    const std::string file = directory.file("one.webm");
    ASSERT_TRUE(writeNumberedVideo(file, "vp8enc deadline=1 ! webmmux", 1));
    Rig rig(file);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] { return rig.recorder->count() >= 10; }));
    EXPECT_TRUE(rig.errors().empty());
}

TEST_F(PlaybackTest, VideoCutOffLoopsAsFarAsItGoes) {
    const std::string file = directory.file("whole.avi");
    ASSERT_TRUE(writeNumberedVideo(file, "jpegenc ! avimux"));
    const std::string whole = readFile(file);
    const std::string cut = directory.file("cut.avi");
    writeFile(cut, whole.substr(0, whole.size() * 2 / 3));
    Rig rig(cut);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    EXPECT_TRUE(eventually([&] {
        const auto numbers = rig.recorder->numbers();
        return std::ranges::count(numbers, 0) >= 3;
    }));
    EXPECT_TRUE(rig.errors().empty());
}

// These begin anew for each round, which takes a moment; too fast they must not be.
TEST_F(PlaybackTest, VideosThatCannotBeSoughtLoopNoFasterThanTheirPace) {
    for (const auto& [needs, muxer] :
         {std::pair{"y4menc", "y4menc"}, {"ivfparse avmux_ivf", "vp8enc deadline=1 ! avmux_ivf"}}) {
        if (!hasElements(needs)) {
            continue;
        }
        const std::string file = directory.file("a");
        ASSERT_TRUE(writeNumberedVideo(file, muxer));
        Rig rig(file);
        ASSERT_EQ(rig.setUp(), "") << muxer;
        rig.session->startRunning();
        const auto rounds = [&] { return std::ranges::count(rig.recorder->numbers(), 0); };
        ASSERT_TRUE(eventually([&] { return rounds() >= 4; })) << muxer;
        rig.session->stopRunning();
        const auto frames = rig.recorder->frames();
        EXPECT_GE(frames.back().time - frames.front().time, 1s) << "three rounds of half a second";
        EXPECT_TRUE(rig.errors().empty());
    }
}

TEST_F(PlaybackTest, AnIVFFileThatCannotBeReadWellIsRefusedAtOnce) {
    if (!hasElements("avmux_ivf vp8enc") || hasElements("ivfparse")) {
        GTEST_SKIP() << "ivfparse is installed, or nothing that writes such a file";
    }
    const std::string file = directory.file("a.ivf");
    ASSERT_TRUE(writeNumberedVideo(file, "vp8enc deadline=1 ! avmux_ivf"));
    Rig rig(file);
    EXPECT_EQ(rig.setUp(), "no decoder for IVF files is installed");
}

/// Which quarters of the picture are bright: upper left, upper right, lower left, lower right.
std::string brightQuarters(const PixelBuffer& picture) {
    std::string quarters;
    for (const int y : {1, 3}) {
        for (const int x : {1, 3}) {
            const std::byte* const pixel = picture.baseAddress() +
                                           picture.height() * y / 4 * picture.bytesPerRow() +
                                           picture.width() * x / 4 * std::ptrdiff_t{4};
            quarters.push_back(std::to_integer<int>(pixel[1]) > 128 ? '#' : '.');
        }
    }
    return quarters;
}

/// The parameter says what writes the picture.
class TurnedPictureTest : public PlaybackTest,
                          public testing::WithParamInterface<decltype(&writeTurnedJPEG)> {};

TEST_P(TurnedPictureTest, IsTurnedAsItsEXIFSays) {
    for (const auto& [orientation, width, height, bright] : {std::tuple{1, 96, 64, "#..."},
                                                             {3, 96, 64, "...#"},
                                                             {6, 64, 96, ".#.."},
                                                             {8, 64, 96, "..#."}}) {
        const std::string file = directory.file("turned");
        GetParam()(file, 96, 64, orientation);
        Rig rig(file);
        rig.recorder->keep = true;
        ASSERT_EQ(rig.setUp(), "");
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return rig.recorder->count() >= 1; })) << orientation;
        rig.session->stopRunning();
        EXPECT_EQ(rig.recorder->kept().at(0)->width(), width) << orientation;
        EXPECT_EQ(rig.recorder->kept().at(0)->height(), height) << orientation;
        EXPECT_EQ(brightQuarters(*rig.recorder->kept().at(0)), bright) << orientation;
    }
}

INSTANTIATE_TEST_SUITE_P(Each, TurnedPictureTest,
                         testing::Values(&writeTurnedJPEG, &writeTurnedPNG),
                         [](const auto& info) { return info.index == 0 ? "JPEG" : "PNG"; });

TEST_F(PlaybackTest, TheOrientationOfAPNGIsKnownWhereverAndHoweverItStands) {
    ASSERT_EQ(ensureLibrary(), std::nullopt);
    const std::string file = directory.file("turned.png");
    writeTurnedPNG(file, 96, 64, 6);
    const std::string picture = readFile(file);
    // The mark and the first chunk, then the EXIF data: length, kind, 26 bytes, checksum.
    const std::string begin = picture.substr(0, 33);
    const std::string chunk = picture.substr(33, 38);
    ASSERT_EQ(chunk.substr(0, 8), std::string("\0\0\0\x1a", 4) + "eXIf");
    const std::string rest = picture.substr(begin.size() + chunk.size());

    const std::string behind = directory.file("behind.png");
    writeFile(behind,
              begin + rest.substr(0, rest.size() - 12) + chunk + rest.substr(rest.size() - 12));
    EXPECT_EQ(FileHead::read(behind).orientation, GST_VIDEO_ORIENTATION_90R);

    // As some programs write it, with the mark that it has in a JPEG file.
    const std::string marked = directory.file("marked.png");
    writeFile(marked, begin + std::string("\0\0\0\x20", 4) + "eXIf" + std::string("Exif\0\0", 6) +
                          chunk.substr(8) + rest);
    EXPECT_EQ(FileHead::read(marked).orientation, GST_VIDEO_ORIENTATION_90R);

    const std::string without = directory.file("without.png");
    writeFile(without, begin + rest);
    EXPECT_EQ(FileHead::read(without).orientation, GST_VIDEO_ORIENTATION_IDENTITY);
}

// Debian's decoder is in a package that not everybody has.
TEST_F(PlaybackTest, TheOrientationOfAWebPIsKnown) {
    ASSERT_EQ(ensureLibrary(), std::nullopt);
    for (const auto& [orientation, method] : {std::pair{1, GST_VIDEO_ORIENTATION_IDENTITY},
                                              {3, GST_VIDEO_ORIENTATION_180},
                                              {6, GST_VIDEO_ORIENTATION_90R},
                                              {8, GST_VIDEO_ORIENTATION_90L}}) {
        const std::string file = directory.file("turned.webp");
        writeTurnedWebP(file, 95, 63, orientation);
        const FileHead head = FileHead::read(file);
        EXPECT_EQ(head.mediaType, "image/webp");
        EXPECT_EQ(head.orientation, method) << orientation;
        for (std::size_t length = 0; length < readFile(file).size(); length += 7) {
            const std::string cut = directory.file("cut.webp");
            writeFile(cut, readFile(file).substr(0, length));
            (void)FileHead::read(cut);
        }
    }
}

TEST_F(PlaybackTest, VideoWithoutTimesPlaysAtItsNominalRate) {
    if (!hasElements("avenc_mpeg4 avdec_mpeg4")) {
        GTEST_SKIP() << "not installed: avenc_mpeg4 avdec_mpeg4";
    }
    const std::string file = directory.file("bare.m4v");
    ASSERT_TRUE(
        runPipeline("videotestsrc num-buffers=60 pattern=snow ! video/x-raw,width=320,"
                    "height=240,framerate=30/1 ! avenc_mpeg4 bitrate=2000000 ! filesink "
                    "location=" +
                    file));
    Rig rig(file, Playback::once);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.ended.load() > 0; }));
    const auto frames = rig.recorder->frames();
    ASSERT_GE(frames.size(), 2U);
    const auto steps = static_cast<double>(frames.size() - 1 + rig.recorder->drops());
    EXPECT_GE(steps, 20);
    expectDuration(frames, steps / 30.0);
}

TEST_F(PlaybackTest, AnAnimatedPictureIsShownThirtyTimesASecond) {
    const std::string file = directory.file("a.gif");
    writeGIF(file, 8);
    Rig rig(file);
    if (const std::string missing = rig.setUp(); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.recorder->count() + rig.recorder->drops() >= 31; }));
    rig.session->stopRunning();
    const auto frames = rig.recorder->frames();
    expectDuration(frames, 1);
}

TEST_F(PlaybackTest, VideoCutOffThatIsPlayedOnceSaysSoAtItsEnd) {
    for (const char* muxer : {"jpegenc ! avimux", "jpegenc ! qtmux faststart=true",
                              "vp8enc deadline=1 keyframe-max-dist=1 ! webmmux"}) {
        const std::string file = directory.file("whole");
        ASSERT_TRUE(writeNumberedVideo(file, muxer));
        const std::string whole = readFile(file);
        const std::string cut = directory.file("cut");
        writeFile(cut, whole.substr(0, whole.size() / 2));
        Rig rig(cut, Playback::once);
        ASSERT_EQ(rig.setUp(), "") << muxer;
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return !rig.errors().empty() || rig.ended > 0; }));
        ASSERT_EQ(rig.errors().size(), 1U) << muxer;
        EXPECT_NE(rig.errors()[0].description.find("cannot play \"" + cut + "\": "),
                  std::string::npos)
            << rig.errors()[0].description;
        EXPECT_EQ(rig.ended, 0);
        EXPECT_FALSE(rig.session->isRunning());
    }
}

TEST_F(PlaybackTest, VideoWithBrokenFramesThatIsPlayedOnceSaysSo) {
    const std::string file = directory.file("a.webm");
    ASSERT_TRUE(writeNumberedVideo(file, "vp8enc deadline=1 keyframe-max-dist=1 ! webmmux"));
    std::string content = readFile(file);
    // The mark that begins a key frame, of all frames but the first.
    const std::string mark = "\x9d\x01\x2a";
    std::size_t at = content.find(mark);
    ASSERT_NE(at, std::string::npos);
    for (at = content.find(mark, at + 1); at != std::string::npos; at = content.find(mark, at)) {
        content.replace(at, mark.size(), "???");
    }
    writeFile(file, content);
    Rig rig(file, Playback::once);
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return !rig.errors().empty() || rig.ended > 0; }));
    ASSERT_EQ(rig.errors().size(), 1U);
    EXPECT_NE(rig.errors()[0].localizedDescription.find("it is damaged"), std::string::npos)
        << rig.errors()[0].localizedDescription;
    EXPECT_EQ(rig.ended, 0);
}

TEST_F(PlaybackTest, FileThatIsCutOffWhileItPlaysIsARuntimeError) {
    for (const Playback playback : {Playback::once, Playback::looped}) {
        const std::string file = directory.file("a.avi");
        ASSERT_TRUE(writeNumberedVideo(file, "jpegenc ! avimux"));
        std::atomic<bool> isCut = false;
        Rig rig(file, playback);
        ASSERT_EQ(rig.setUp(), "");
        rig.recorder->onFrame = [&] {
            if (!isCut.exchange(true)) {
                std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
            }
        };
        rig.session->startRunning();
        ASSERT_TRUE(eventually([&] { return !rig.errors().empty(); }));
        EXPECT_EQ(rig.errors()[0].localizedDescription, "it was cut off while it played");
        EXPECT_EQ(rig.ended, 0);
    }
}

TEST_F(PlaybackTest, EndIsToldAfterTheLastFrameWasHandled) {
    const std::string file = directory.file("short.webm");
    ASSERT_TRUE(writeNumberedVideo(file, "vp8enc deadline=1 ! webmmux", 3));
    std::atomic<int> endedDuringFrame = 0;
    Rig rig(file, Playback::once);
    rig.recorder->onFrame = [&] {
        std::this_thread::sleep_for(300ms);
        endedDuringFrame += rig.ended.load();
    };
    ASSERT_EQ(rig.setUp(), "");
    rig.session->startRunning();
    ASSERT_TRUE(eventually([&] { return rig.ended.load() > 0; }));
    EXPECT_EQ(endedDuringFrame, 0);
    EXPECT_EQ(rig.recorder->numbers().back(), 2);
    EXPECT_EQ(rig.recorder->count() + rig.recorder->drops(), 3U);
}

}  // namespace
}  // namespace velmaro::gstreamer

#include <gtest/gtest.h>

#include "backends/gstreamer/CameraFormat.h"
#include "backends/gstreamer/Library.h"

namespace velmaro::gstreamer {
namespace {

std::string chosen(const std::string& offered) {
    EXPECT_FALSE(ensureLibrary());
    const CapsHandle caps(gst_caps_from_string(offered.c_str()));
    const CapsHandle format = chooseFormat(caps.get());
    if (!format) {
        return "none";
    }
    const GstStructure* const mode = gst_caps_get_structure(format.get(), 0);
    const char* const pixels = gst_structure_get_string(mode, "format");
    int width = 0;
    int height = 0;
    int numerator = 0;
    int denominator = 1;
    gst_structure_get_int(mode, "width", &width);
    gst_structure_get_int(mode, "height", &height);
    gst_structure_get_fraction(mode, "framerate", &numerator, &denominator);
    std::string text = std::string(pixels == nullptr ? gst_structure_get_name(mode) : pixels) +
                       " " + std::to_string(width) + "x" + std::to_string(height) + "@" +
                       std::to_string(numerator) + "/" + std::to_string(denominator);
    if (gst_caps_is_fixed(format.get()) != FALSE) {
        return text;
    }
    // The same, but for the rate.
    const CapsHandle other(gst_caps_copy(format.get()));
    gst_caps_remove_structure(other.get(), 0);
    const CapsHandle open(gst_caps_copy_nth(format.get(), 0));
    gst_structure_remove_field(gst_caps_get_structure(open.get(), 0), "framerate");
    EXPECT_TRUE(gst_caps_is_strictly_equal(open.get(), other.get()));
    return text + " or another";
}

std::string raw(const std::string& format, int width, int height, const std::string& rate) {
    return "video/x-raw,format=" + format + ",width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + ",framerate=" + rate + ";";
}
std::string jpeg(int width, int height, const std::string& rate) {
    return "image/jpeg,width=" + std::to_string(width) + ",height=" + std::to_string(height) +
           ",framerate=" + rate + ";";
}

TEST(CameraFormat, ThirtyFramesComeBeforeSize) {
    EXPECT_EQ(chosen(raw("YUY2", 3840, 2160, "5/3") + raw("YUY2", 1280, 720, "10/1") +
                     raw("YUY2", 640, 480, "30/1") + raw("YUY2", 320, 240, "30/1")),
              "YUY2 640x480@30/1");
}

TEST(CameraFormat, CompressedPicturesMayBeTheOnlyFastLargeOnes) {
    EXPECT_EQ(chosen(raw("YUY2", 640, 480, "30/1") + raw("YUY2", 1280, 720, "10/1") +
                     jpeg(1280, 720, "30/1") + jpeg(1920, 1080, "30/1")),
              "image/jpeg 1280x720@30/1");
}

TEST(CameraFormat, UncompressedComesFirstAtEqualSize) {
    EXPECT_EQ(chosen(jpeg(640, 480, "30/1") + raw("YUY2", 640, 480, "30/1")), "YUY2 640x480@30/1");
}

TEST(CameraFormat, TelevisionsRateIsFastAndMoreThanWantedIsNotTaken) {
    EXPECT_EQ(chosen(raw("NV12", 1280, 720, "30000/1001") + raw("NV12", 640, 480, "30/1")),
              "NV12 1280x720@30000/1001");
    EXPECT_EQ(chosen(raw("NV12", 640, 480, "{60/1, 30/1, 15/1}")), "NV12 640x480@30/1");
    EXPECT_EQ(chosen(raw("NV12", 640, 480, "60/1")), "NV12 640x480@60/1");
}

TEST(CameraFormat, LargerThanWantedIsTakenOnlyWhereNothingElseIsFast) {
    EXPECT_EQ(chosen(raw("YUY2", 1920, 1080, "30/1") + raw("YUY2", 640, 480, "15/1")),
              "YUY2 1920x1080@30/1");
    EXPECT_EQ(chosen(raw("YUY2", 3840, 2160, "30/1") + raw("YUY2", 640, 480, "15/1")),
              "YUY2 640x480@15/1");
    EXPECT_EQ(chosen(raw("YUY2", 3840, 2160, "5/3")), "YUY2 3840x2160@5/3");
}

TEST(CameraFormat, OfSlowModesTheFastestThenTheLargest) {
    EXPECT_EQ(chosen(raw("YUY2", 1280, 720, "10/1") + raw("YUY2", 320, 240, "15/1") +
                     raw("YUY2", 640, 480, "15/1")),
              "YUY2 640x480@15/1");
}

TEST(CameraFormat, RangesAreNarrowedToWhatIsWanted) {
    EXPECT_EQ(chosen("video/x-raw,format={YUY2,NV12},width=[16,4096],height=[16,2160],"
                     "framerate=[0/1,120/1]"),
              "YUY2 1280x720@30/1 or another");
}

TEST(CameraFormat, ARateThatIsNotToldIsLeftOpen) {
    EXPECT_EQ(chosen("video/x-raw,format=YUY2,width=640,height=480"), "YUY2 640x480@0/1");
    EXPECT_EQ(
        chosen("video/x-raw,format=YUY2,width=1280,height=720;" + raw("YUY2", 320, 240, "30/1")),
        "YUY2 320x240@30/1");
}

TEST(CameraFormat, PortraitIsMeasuredByItsSides) {
    EXPECT_EQ(chosen(raw("NV12", 720, 1280, "30/1") + raw("NV12", 640, 480, "30/1")),
              "NV12 720x1280@30/1");
}

TEST(CameraFormat, NothingFromInfraredMetadataAndOtherStreams) {
    EXPECT_EQ(chosen(raw("GRAY8", 640, 480, "30/1") + raw("GRAY16_LE", 640, 480, "30/1")), "none");
    EXPECT_EQ(chosen("video/x-h264,width=1280,height=720,framerate=30/1"), "none");
    EXPECT_EQ(chosen("video/x-raw(memory:DMABuf),format=NV12,width=640,height=480,framerate=30/1"),
              "none");
    EXPECT_EQ(chosen("video/x-raw,format=YUY2"), "none");
    EXPECT_EQ(chosen("EMPTY"), "none");
    EXPECT_EQ(chosen("ANY"), "none");
    EXPECT_FALSE(chooseFormat(nullptr));
}

}  // namespace
}  // namespace velmaro::gstreamer

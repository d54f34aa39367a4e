#include "Media.h"

#include <gst/app/gstappsrc.h>
#include <gst/gst.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "backends/gstreamer/Handles.h"
#include "backends/gstreamer/Library.h"

namespace velmaro::gstreamer::test {

namespace {

ElementHandle launch(const std::string& description) {
    ensureLibrary();
    GError* parsed = nullptr;
    GstElement* const pipeline = gst_parse_launch(description.c_str(), &parsed);
    const ErrorHandle error(parsed);
    if (pipeline == nullptr || error) {
        throw std::runtime_error(description + ": " + (error ? error->message : "no pipeline"));
    }
    return ElementHandle(GST_ELEMENT(gst_object_ref_sink(pipeline)));
}

bool finish(GstElement* pipeline) {
    const BusHandle bus(gst_element_get_bus(pipeline));
    const MessageHandle end(gst_bus_timed_pop_filtered(
        bus.get(), 60 * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    return end && GST_MESSAGE_TYPE(end.get()) == GST_MESSAGE_EOS;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "media-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool hasElements(const std::string& names) {
    ensureLibrary();
    std::istringstream words(names);
    for (std::string name; words >> name;) {
        const ObjectHandle<GstElementFactory> factory(gst_element_factory_find(name.c_str()));
        if (!factory) {
            return false;
        }
    }
    return true;
}

bool runPipeline(const std::string& description) {
    const ElementHandle pipeline = launch(description);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    return finish(pipeline.get());
}

bool writeNumberedVideo(const std::string& file, const std::string& encoderAndMuxer, int count) {
    const ElementHandle pipeline = launch(
        "appsrc name=frames format=time caps=video/x-raw,format=BGRx,width=64,height=48,"
        "framerate=30/1 ! videoconvert ! " +
        encoderAndMuxer + " ! filesink location=" + file);
    const ElementHandle frames(gst_bin_get_by_name(GST_BIN(pipeline.get()), "frames"));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    constexpr gsize kBytes = gsize{4} * 64 * 48;
    for (int i = 0; i < count; ++i) {
        GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, kBytes, nullptr);
        gst_buffer_memset(buffer, 0, static_cast<guint8>(greyOfFrame(i)), kBytes);
        // The end of one frame is the beginning of the next, to the nanosecond.
        GST_BUFFER_PTS(buffer) = static_cast<GstClockTime>(i) * GST_SECOND / 30;
        GST_BUFFER_DURATION(buffer) =
            static_cast<GstClockTime>(i + 1) * GST_SECOND / 30 - GST_BUFFER_PTS(buffer);
        gst_app_src_push_buffer(GST_APP_SRC(frames.get()), buffer);
    }
    gst_app_src_end_of_stream(GST_APP_SRC(frames.get()));
    return finish(pipeline.get());
}

bool writePicture(const std::string& file, const std::string& encoder, int width, int height,
                  std::uint32_t argb) {
    return runPipeline(
        "videotestsrc num-buffers=1 pattern=solid-color foreground-color=" + std::to_string(argb) +
        " ! video/x-raw,format=BGRA,width=" + std::to_string(width) +
        ",height=" + std::to_string(height) + " ! videoconvert dither=none ! " + encoder +
        " ! filesink location=" + file);
}

namespace {

std::string bigEndian(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text.push_back(static_cast<char>(value >> (8 * i)));
    }
    return text;
}

/// EXIF data of one entry: tag 0x112, a short.
std::string exifOf(int orientation) {
    return std::string("MM\0*\0\0\0\x08\0\x01", 10) + bigEndian(0x112, 2) + bigEndian(3, 2) +
           bigEndian(1, 4) + bigEndian(static_cast<std::uint32_t>(orientation), 2) +
           bigEndian(0, 2) + bigEndian(0, 4);
}

std::string littleEndian(std::size_t value, int bytes) {
    const std::string text = bigEndian(static_cast<std::uint32_t>(value), bytes);
    return {text.rbegin(), text.rend()};
}

std::string chunkOfRIFF(const std::string& kind, const std::string& content) {
    return kind + littleEndian(content.size(), 4) + content + std::string(content.size() % 2, '\0');
}

}  // namespace

/// Dark but for its upper left quarter.
void writeCorner(const std::string& file, const std::string& encoder, int width, int height) {
    const std::string halfWidth = std::to_string(width / 2);
    const std::string halfHeight = std::to_string(height / 2);
    runPipeline(
        "videotestsrc num-buffers=1 pattern=white ! video/x-raw,format=BGRA,width=" + halfWidth +
        ",height=" + halfHeight + " ! videobox fill=black right=-" + halfWidth + " bottom=-" +
        halfHeight + " ! videoconvert ! " + encoder + " ! filesink location=" + file);
}

void writeTurnedJPEG(const std::string& file, int width, int height, int orientation) {
    writeCorner(file, "jpegenc", width, height);
    const std::string picture = readFile(file);
    const std::string exif = std::string("Exif\0\0", 6) + exifOf(orientation);
    writeFile(file, picture.substr(0, 2) + "\xff\xe1" +
                        bigEndian(static_cast<std::uint32_t>(exif.size() + 2), 2) + exif +
                        picture.substr(2));
}

void writeTurnedPNG(const std::string& file, int width, int height, int orientation) {
    writeCorner(file, "pngenc", width, height);
    const std::string picture = readFile(file);
    const std::string chunk = "eXIf" + exifOf(orientation);
    std::uint32_t checksum = ~0U;
    for (const char byte : chunk) {
        checksum ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            checksum = (checksum >> 1U) ^ ((checksum & 1U) != 0 ? 0xedb88320U : 0U);
        }
    }
    // Behind the mark and the first chunk.
    writeFile(file, picture.substr(0, 33) +
                        bigEndian(static_cast<std::uint32_t>(chunk.size() - 4), 4) + chunk +
                        bigEndian(~checksum, 4) + picture.substr(33));
}

void writeTurnedWebP(const std::string& file, int width, int height, int orientation) {
    writePicture(file, "vp8enc deadline=1", width, height, 0xff808080);
    const std::string content =
        "WEBP" +
        chunkOfRIFF("VP8X", std::string("\x08\0\0\0", 4) +
                                littleEndian(static_cast<std::size_t>(width - 1), 3) +
                                littleEndian(static_cast<std::size_t>(height - 1), 3)) +
        chunkOfRIFF("VP8 ", readFile(file)) + chunkOfRIFF("EXIF", exifOf(orientation));
    writeFile(file, "RIFF" + littleEndian(content.size(), 4) + content);
}

void writeHugeJPEG(const std::string& file, int width, int height) {
    writePicture(file, "jpegenc", 64, 48, 0xff808080);
    std::string picture = readFile(file);
    const std::size_t frame = picture.find("\xff\xc0");
    picture.replace(frame + 5, 4,
                    bigEndian(static_cast<std::uint32_t>(height), 2) +
                        bigEndian(static_cast<std::uint32_t>(width), 2));
    writeFile(file, picture);
}

void writeHugePNG(const std::string& file, int width, int height) {
    writePicture(file, "pngenc", 64, 48, 0xff808080);
    std::string picture = readFile(file);
    picture.replace(16, 8,
                    bigEndian(static_cast<std::uint32_t>(width), 4) +
                        bigEndian(static_cast<std::uint32_t>(height), 4));
    writeFile(file, picture);
}

void writeGIF(const std::string& file, int count) {
    std::string content("GIF89a\x10\0\x10\0\xf7\0\0", 13);
    for (int i = 0; i < 256; ++i) {
        content.append(3, static_cast<char>(i));
    }
    content += std::string("\x21\xff\x0bNETSCAPE2.0\x03\x01\0\0\0", 19);
    for (int i = 0; i < count; ++i) {
        // A tenth of a second each; codes of nine bits, begun anew before they grow.
        content += std::string("\x21\xf9\x04\0\x0a\0\0\0\x2c\0\0\0\0\x10\0\x10\0\0\x08", 19);
        std::string data;
        unsigned bits = 0;
        int held = 0;
        const auto add = [&](unsigned code) {
            bits |= code << held;
            for (held += 9; held >= 8; held -= 8) {
                data.push_back(static_cast<char>(bits));
                bits >>= 8U;
            }
        };
        for (int pixel = 0; pixel < 16 * 16; ++pixel) {
            if (pixel % 200 == 0) {
                add(256);
            }
            add(static_cast<unsigned>(greyOfFrame(i)));
        }
        add(257);
        data.push_back(static_cast<char>(bits));
        for (std::size_t at = 0; at < data.size(); at += 255) {
            const std::string block = data.substr(at, 255);
            content.push_back(static_cast<char>(block.size()));
            content += block;
        }
        content.push_back('\0');
    }
    writeFile(file, content + "\x3b");
}

void writeFile(const std::string& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
}

std::string readFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace velmaro::gstreamer::test

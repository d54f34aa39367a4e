#include "integration/guest/VirtualCamera.h"

#include <filesystem>
#include <stdexcept>

#include "integration/guest/Guest.h"

namespace velmaro::integration {
namespace {

constexpr const char* kDriver = "/sys/bus/platform/drivers/vivid/";

std::string run(const std::string& line) {
    const Answer answer = shell(line);
    if (answer.status != 0) {
        throw std::runtime_error(line + ": " + answer.text);
    }
    return answer.text;
}

/// The device whose name in the kernel ends so.
std::string device(const std::string& ending) {
    return run(
        "cd /sys/class/video4linux && for device in video*; do case $(cat $device/name) in *" +
        ending + ") printf /dev/$device;; esac; done");
}

/// The portrait as the output wants it.
const std::string& picture() {
    static const std::string file = [] {
        std::string made = "/tmp/portrait.yuv";
        run("gst-launch-1.0 -q filesrc location=" VELMARO_PORTRAIT_JPEG
            " ! jpegdec ! videoconvert ! videoscale"
            " ! video/x-raw,format=YUY2,width=640,height=480,pixel-aspect-ratio=1/1"
            " ! filesink location=" +
            made);
        return made;
    }();
    return file;
}

/// What gives the camera's input the output's pictures: newer kernels ask which output it is.
std::string connection(const std::string& camera) {
    const bool isOneSwitch = shell("v4l2-ctl -d " + camera + " -C loop_video").status == 0;
    return isOneSwitch ? "loop_video=1" : "hdmi_000_0_is_connected_to=2";
}

}  // namespace

VirtualCamera::VirtualCamera() {
    if (!std::filesystem::exists(std::string(kDriver) + "vivid.0")) {
        run(std::string("echo vivid.0 >") + kDriver + "bind");
    }
    run("udevadm settle");
    camera_ = device("-vid-cap");
    output_ = device("-vid-out");
    const std::string timing =
        " --set-dv-bt-timings width=640,height=480,interlaced=0,pixelclock=25175000,hfp=16,hs=96,"
        "hbp=48,vfp=10,vs=2,vbp=33,polarities=0";
    // From the fourth input, HDMI, comes what goes to the second output.
    run("v4l2-ctl -d " + output_ + " -o 1 && v4l2-ctl -d " + output_ + timing);
    run("v4l2-ctl -d " + camera_ + " -i 3 && v4l2-ctl -d " + camera_ + timing);
    // A few pictures a second are enough for the emulated processor.
    run("v4l2-ctl -d " + camera_ + " -c " + connection(camera_) +
        ",osd_text_mode=2,percentage_of_dropped_buffers=80");
    run("v4l2-ctl -d " + output_ +
        " -v width=640,height=480,pixelformat=YUYV --stream-out-mmap=4 --stream-loop "
        "--stream-from=" +
        picture() + " >/tmp/output.log 2>&1 </dev/null &");
}

VirtualCamera::~VirtualCamera() {
    shell(std::string("echo vivid.0 >") + kDriver + "unbind");
}

}  // namespace velmaro::integration

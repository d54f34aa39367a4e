#include "receivers/Receivers.h"

#include <algorithm>
#include <array>

namespace velmaro {
namespace {

constexpr Conversion kAsSent;
constexpr Conversion kQuaternion{.form = Conversion::Form::quaternion};
constexpr Conversion kPanFlipped{.flipped = {true, false, false}};
constexpr Conversion kPanAndTiltFlipped{.flipped = {true, true, false}};

/// The signs of iem and sparta are measured with plane waves, those of ear and adm-osc are as their
/// makers write them. The port is 8000 where a person sets it in the receiver.
constexpr std::array kReceivers{
    Receiver{"iem", 8000, "/SceneRotator/quaternions", kQuaternion,
             "IEM SceneRotator; set its OSC port to 8000"},
    Receiver{"sparta", 9000, "/ypr", kPanAndTiltFlipped,
             "SPARTA ambiBIN, binauraliser and rotator; leave their flips off"},
    Receiver{"ear", 8000, "/ypr", kAsSent, "EAR Production Suite; set its OSC port to 8000"},
    Receiver{"adm-osc", 4001, "/adm/lis/ypr", kPanFlipped, "renderers that speak ADM-OSC"},
    Receiver{"supercollider", 57120, "/ypr", kAsSent,
             "an OSCFunc of SuperCollider's language: pan, tilt, roll in degrees"},
    Receiver{"puredata", 8000, "/ypr", kAsSent,
             "netreceive -u -b 8000 and oscparse: pan, tilt, roll in degrees"},
    Receiver{"ypr", 8000, "/ypr", kAsSent, "pan right, tilt up, roll right, in degrees"},
    Receiver{"quaternion", 8000, "/quaternion", kQuaternion,
             "w, x, y, z of the turn of the field; x front, y left, z up"},
};

}  // namespace

std::span<const Receiver> receivers() {
    return kReceivers;
}

const Receiver* findReceiver(std::string_view name) {
    const auto* const found = std::ranges::find(kReceivers, name, &Receiver::name);
    return found == kReceivers.end() ? nullptr : found;
}

std::string receiverNames() {
    std::string names;
    for (const Receiver& receiver : kReceivers) {
        names.append(names.empty() ? "" : ", ").append(receiver.name);
    }
    return names;
}

std::string receiverList() {
    std::string list;
    for (const Receiver& receiver : kReceivers) {
        list.append(receiver.name).append("\t").append(std::to_string(receiver.port));
        list.append("\t").append(receiver.address);
        list.append("\t").append(receiver.description).append("\n");
    }
    return list;
}

}  // namespace velmaro

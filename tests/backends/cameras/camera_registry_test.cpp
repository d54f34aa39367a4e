#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>

#include "../gstreamer/Media.h"
#include "ScriptedDevice.h"
#include "backends/cameras/CameraRegistry.h"
#include "backends/cameras/LiveDevice.h"
#include "backends/cameras/VideoDevices.h"
#include "backends/gstreamer/Library.h"
#include "fakes/Diagnostics.h"

namespace velmaro::cameras {
namespace {

using namespace gstreamer;
using test::kColour;
using test::kGrey;

constexpr auto device = [](const auto&... arguments) { return test::scriptedDevice(arguments...); };

std::string identity(const std::string& properties) {
    const auto camera = describeCamera(device(properties).get());
    return camera ? camera->uniqueID : "none";
}

TEST(CameraDescription, LastingNameIsTheNodesElseThePlaceOfThePlug) {
    EXPECT_EQ(identity("node.name=cam, device.bus_path=pci-1, object.serial=(string)7"), "cam");
    EXPECT_EQ(identity("device.bus_path=pci-1, v4l2.device.bus_info=usb-2"), "pci-1");
    EXPECT_EQ(identity("v4l2.device.bus_info=usb-2, device.path=video0"), "usb-2");
    EXPECT_EQ(identity("device.path=video0"), "none");
}

TEST(CameraDescription, OnlyWhatGivesPicturesIsACamera) {
    EXPECT_EQ(describeCamera(device("node.name=a").get()), (CameraDescription{"a", "Name"}));
    EXPECT_FALSE(describeCamera(device("node.name=a", kGrey).get()));
    EXPECT_FALSE(describeCamera(device("node.name=a", "EMPTY").get()));
    EXPECT_FALSE(describeCamera(device("node.name=a", kColour, "Video/Sink").get()));
    EXPECT_FALSE(describeCamera(device("node.name=a", kColour, "Audio/Source").get()));
}

TEST(CameraRegistry, ACameraIsListedOnceForAsLongAsADeviceStandsForIt) {
    CameraRegistry registry;
    const auto first = device("node.name=a");
    const auto again = device("node.name=a");
    const auto other = device("node.name=b");
    EXPECT_EQ(registry.add(first.get()), CameraChange::connected);
    EXPECT_EQ(registry.add(first.get()), CameraChange::none);
    EXPECT_EQ(registry.add(other.get()), CameraChange::connected);
    EXPECT_EQ(registry.add(again.get()), CameraChange::none);
    EXPECT_EQ(registry.cameras(), (std::vector<CameraDescription>{{"a", "Name"}, {"b", "Name"}}));
    EXPECT_EQ(registry.find("a").get(), again.get());
    EXPECT_EQ(registry.remove(first.get()), CameraChange::none);
    EXPECT_EQ(registry.remove(first.get()), CameraChange::none);
    EXPECT_EQ(registry.remove(again.get()), CameraChange::disconnected);
    EXPECT_EQ(registry.find("a"), nullptr);
    EXPECT_EQ(registry.removeAll(), CameraChange::disconnected);
    EXPECT_EQ(registry.removeAll(), CameraChange::none);
    registry.open();
    EXPECT_EQ(registry.add(device("node.name=c", kGrey).get()), CameraChange::none);
}

TEST(CameraRegistry, OnlyTheUsersOfTheRemovedDeviceAreTold) {
    CameraRegistry registry;
    const auto a = device("node.name=a");
    const auto b = device("node.name=b");
    const auto changed = device("node.name=b");
    registry.add(a.get());
    registry.add(b.get());
    int lostA = 0;
    int lostB = 0;
    auto gone = registry.use(a.get(), [&] { lostA += 100; });
    gone.reset();
    const auto useA = registry.use(a.get(), [&] { ++lostA; });
    const auto useB = registry.use(b.get(), [&] { ++lostB; });
    registry.replace(b.get(), changed.get());
    EXPECT_EQ(registry.remove(b.get()), CameraChange::none);
    EXPECT_EQ(registry.remove(a.get()), CameraChange::disconnected);
    EXPECT_EQ(lostA, 1);
    EXPECT_EQ(lostB, 0);
    EXPECT_EQ(registry.use(a.get(), [] {}), nullptr);
    registry.removeAll();
    EXPECT_EQ(lostB, 1);
}

// PipeWire's end is noticed at once, while what it announced before still waits in a queue.
TEST(CameraRegistry, WhatWasAnnouncedBeforeAllWentStaysAway) {
    CameraRegistry registry;
    const auto camera = device("node.name=a");
    registry.add(camera.get());
    EXPECT_EQ(registry.removeAll(), CameraChange::disconnected);
    EXPECT_EQ(registry.add(camera.get()), CameraChange::none);
    EXPECT_TRUE(registry.cameras().empty());
    registry.open();
    EXPECT_EQ(registry.add(camera.get()), CameraChange::connected);
    EXPECT_EQ(registry.forgetAll(), CameraChange::disconnected);
    EXPECT_EQ(registry.add(camera.get()), CameraChange::connected);
}

TEST(CameraRegistry, TwoOfTheSameNameAreEachThemselves) {
    CameraRegistry registry;
    const auto first = device("node.name=a, object.serial=(string)1");
    const auto second = device("node.name=a, object.serial=(string)2");
    const auto third = device("node.name=a, object.serial=(string)3");
    EXPECT_EQ(registry.add(first.get()), CameraChange::connected);
    EXPECT_EQ(registry.add(second.get()), CameraChange::connected);
    EXPECT_EQ(registry.cameras(), (std::vector<CameraDescription>{{"a", "Name"}, {"a.2", "Name"}}));
    EXPECT_EQ(registry.find("a").get(), first.get());
    EXPECT_EQ(registry.find("a.2").get(), second.get());
    registry.replace(second.get(), device("node.name=a, object.serial=(string)2").get());
    EXPECT_NE(registry.find("a.2"), nullptr);
    EXPECT_EQ(registry.remove(first.get()), CameraChange::disconnected);
    EXPECT_EQ(registry.find("a"), nullptr);
    EXPECT_NE(registry.find("a.2"), nullptr);
    // One that is plugged in again has its name back.
    EXPECT_EQ(registry.add(third.get()), CameraChange::connected);
    EXPECT_EQ(registry.find("a").get(), third.get());
}

TEST(LiveDevice, IsRefusedAtOnceWhileItIsAbsent) {
    const auto registry = std::make_shared<CameraRegistry>();
    fakes::CapturedDiagnostics diagnostics;
    const auto live = makeLiveDevice({"a", "Name"}, registry, diagnostics);
    const auto refused = live->makeInput();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().description, "the camera \"Name\" (a) is not connected");
    EXPECT_EQ(refused.error().localizedDescription, "the camera \"Name\" is not connected");
    registry->add(device("node.name=a").get());
    EXPECT_TRUE(live->makeInput());
}

TEST(VideoDevices, AreForbiddenOnlyIfNoneOpens) {
    const gstreamer::test::TemporaryDirectory folder;
    const std::filesystem::path path = folder.file("");
    const auto allRefused = [](const auto&) { return EACCES; };
    using Devices = std::vector<std::filesystem::path>;
    EXPECT_EQ(forbiddenVideoDevices(path, allRefused), Devices{});
    EXPECT_EQ(forbiddenVideoDevices(path / "absent", allRefused), Devices{});
    gstreamer::test::writeFile(folder.file("video"), "");
    gstreamer::test::writeFile(folder.file("videos1"), "");
    EXPECT_EQ(forbiddenVideoDevices(path, allRefused), Devices{});
    gstreamer::test::writeFile(folder.file("video1"), "");
    gstreamer::test::writeFile(folder.file("video0"), "");
    EXPECT_EQ(forbiddenVideoDevices(path, allRefused), (Devices{path / "video0", path / "video1"}));
    EXPECT_EQ(forbiddenVideoDevices(path,
                                    [](const std::filesystem::path& file) {
                                        return file.filename() == "video1" ? 0 : EACCES;
                                    }),
              Devices{});
    EXPECT_EQ(forbiddenVideoDevices(path, [](const auto&) { return EBUSY; }), Devices{});
    EXPECT_EQ(forbiddenVideoDevices(path), Devices{});
}

TEST(VideoDevices, AreCamerasIfUdevSaysSo) {
    using Properties = std::map<std::string, std::string>;
    const auto described = [](const Properties& properties) {
        return describeProperties([&](const char* name) -> const char* {
            const auto property = properties.find(name);
            return property == properties.end() ? nullptr : property->second.c_str();
        });
    };
    const Properties camera{{"ID_PATH", "pci-1"}, {"ID_V4L_CAPABILITIES", ":capture:"}};
    const auto with = [&](const std::string& name, const std::string& value) {
        Properties changed = camera;
        changed[name] = value;
        return described(changed);
    };
    EXPECT_EQ(with("ID_V4L_PRODUCT", "A = B"), (CameraDescription{"pci-1", "A = B"}));
    EXPECT_EQ(described(camera), (CameraDescription{"pci-1", "pci-1"}));
    EXPECT_EQ(with("ID_PATH", ""), std::nullopt) << "it has no lasting place";
    EXPECT_EQ(with("ID_V4L_CAPABILITIES", ":"), std::nullopt);
    EXPECT_EQ(with("ID_V4L_CAPABILITIES", ":video_output:"), std::nullopt);
    EXPECT_EQ(described({}), std::nullopt);
    EXPECT_TRUE(describeVideoDevices({"/dev/null", "absent"}).empty());
}

}  // namespace
}  // namespace velmaro::cameras

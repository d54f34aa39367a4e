#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "app/ContentView.h"
#include "fakes/Capture.h"
#include "fakes/Dispatch.h"
#include "fakes/FaceLandmarks.h"
#include "fakes/HeadphoneMotion.h"
#include "fakes/Log.h"
#include "fakes/Network.h"
#include "fakes/UserDefaults.h"
#include "fakes/WallClock.h"

namespace velmaro {

/// The whole logic over scripted doors.
class ContentViewTest : public testing::Test {
protected:
    void makeView() { view = ContentView::create(platform); }

    /// Everything that is queued anywhere, and what that queues.
    void runEverything() {
        while (dispatch.main.run() + dispatch.userInitiated.run() + dispatch.standard.run() > 0) {
        }
    }

    /// From now on `capture.trace` holds the calls of every door, the log's lines, what is posted
    /// to the main queue and each status, in the order in which they happen.
    void traceEverything() {
        capture.trace.clear();
        headphones.trace = network.trace = defaults.trace = log.trace = &capture.trace;
        dispatch.main.trace = &capture.trace;
        for (const auto& connection : network.connections) {
            connection->trace = &capture.trace;
        }
        statuses = view->debugText.observe(
            [this](const std::string& text) { capture.trace.push_back("status: " + text); });
        capture.trace.clear();
    }

    /// The bit patterns of the latest datagram's floats.
    [[nodiscard]] std::vector<std::uint32_t> sentBits() const {
        std::vector<std::uint32_t> bits;
        const std::vector<float> latest = sentValues().back();
        bits.reserve(latest.size());
        for (const float value : latest) {
            bits.push_back(std::bit_cast<std::uint32_t>(value));
        }
        return bits;
    }

    /// The floats of each datagram so far, over all connections.
    [[nodiscard]] std::vector<std::vector<float>> sentValues() const {
        std::vector<std::vector<float>> all;
        for (const auto& connection : network.connections) {
            for (const auto& message : connection->sent) {
                all.push_back(arguments(message));
            }
        }
        return all;
    }

    /// A frame reaches the manager on its queue; the clock moves on far enough to analyse and send.
    void frame() {
        clock.time += 1;
        view->cameraManager->captureOutputDidOutput({picture});
    }

    void motion(const CMQuaternion& attitude) {
        clock.time += 1;
        headphones.deliver(attitude);
    }

    std::shared_ptr<CaptureDevice> desk = fakes::makeDevice("desk", "Desk Camera");
    std::shared_ptr<CaptureDevice> wall = fakes::makeDevice("wall", "Wall Camera");
    std::shared_ptr<const PixelBuffer> picture = std::make_shared<fakes::EmptyPicture>(1280, 720);

    fakes::HandCrankedDispatch dispatch;
    NotificationCenter center;
    fakes::ScriptedCapture capture;
    fakes::ScriptedFaceLandmarks faces;
    fakes::ScriptedHeadphoneMotion headphones;
    fakes::ScriptedNetwork network;
    fakes::MemoryUserDefaults defaults;
    fakes::ManualClock clock;
    fakes::CapturedLog log;
    Platform platform{dispatch, center, capture, faces, headphones, network, defaults, clock, log};
    std::shared_ptr<ContentView> view;
    Subscription statuses;

private:
    /// The floats behind the type tags of "/ypr".
    static std::vector<float> arguments(const std::vector<std::byte>& message) {
        const char* const text = reinterpret_cast<const char*>(message.data());
        EXPECT_STREQ(text, "/ypr");
        const std::size_t count = std::strlen(text + 8) - 1;
        std::size_t position = 8 + 4 * ((count + 2 + 3) / 4);
        std::vector<float> values;
        for (std::size_t index = 0; index < count; ++index, position += 4) {
            std::uint32_t bits = 0;
            for (std::size_t byte = 0; byte < 4; ++byte) {
                bits = (bits << 8) | std::to_integer<std::uint32_t>(message.at(position + byte));
            }
            values.push_back(std::bit_cast<float>(bits));
        }
        return values;
    }
};

}  // namespace velmaro

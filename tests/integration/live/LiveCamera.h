#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "../../backends/gstreamer/Rig.h"
#include "PipeWireSession.h"
#include "backends/cameras/LiveCameras.h"

namespace velmaro::integration {

using gstreamer::CaptureOptions;
using gstreamer::test::eventually;
using gstreamer::test::Rig;
using namespace std::chrono_literals;

#ifdef VELMARO_SANITIZED
/// What the sanitizers remember of each start takes memory of its own.
inline constexpr bool kMemoryTells = false;
#else
inline constexpr bool kMemoryTells = true;
#endif

/// With a PipeWire session of its own.
class LiveCamera : public testing::Test {
protected:
    void SetUp() override {
        if (const std::string missing = PipeWireSession::missing(); !missing.empty()) {
            GTEST_SKIP() << "no virtual cameras without " << missing;
        }
        session = std::make_unique<PipeWireSession>();
        ASSERT_TRUE(session->isReady());
        // For the captures of this process; each test has one of its own.
        for (const auto& [name, value] : session->environment()) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
    }

    [[nodiscard]] Finished run(const std::vector<std::string>& arguments) const {
        return runProgram(arguments, session->environment());
    }

    std::unique_ptr<PipeWireSession> session;
};

/// With the cameras of this process's session and no files.
inline CaptureOptions live(NotificationCenter& notificationCenter, Diagnostics& diagnostics) {
    CaptureOptions options;
    options.cameras = cameras::makeLiveCameras(notificationCenter, diagnostics, 5s);
    return options;
}

/// Waits until the program has said that on standard error.
inline bool says(const Program& program, const std::string& text) {
    return eventually([&] { return program.errors().find(text) != std::string::npos; });
}

}  // namespace velmaro::integration

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/QuietLog.h"
#include "fakes/Log.h"

namespace velmaro {
namespace {

using testing::ElementsAre;

TEST(QuietLog, LeavesOutWhatEveryFrameHas) {
    auto kept = std::make_unique<fakes::CapturedLog>();
    fakes::CapturedLog& lines = *kept;
    QuietLog log(std::move(kept));
    log.line("✅ Camera input added");
    for (const char* const each : {"📍 Landmarks available",
                                   "🎯 Calculated: Pan=1.0°, Tilt=0.0° | Smoothed: Pan=0.3°, "
                                   "FinalTilt=0.0°",
                                   "❌ No landmarks available", "⚠️ Dropped frame"}) {
        log.line(each);
    }
    log.line("🎧 Headphones connected");
    EXPECT_THAT(lines.lines, ElementsAre("✅ Camera input added", "🎧 Headphones connected"));
}

TEST(QuietLog, WritesTheSameErrorOfEveryFrameOnce) {
    auto kept = std::make_unique<fakes::CapturedLog>();
    fakes::CapturedLog& lines = *kept;
    QuietLog log(std::move(kept));
    for (const char* const each :
         {"OSC send error: Connection refused", "OSC send error: Connection refused",
          "✅ OSC UDP connection ready", "OSC send error: Connection refused",
          "❌ Headphone motion error: lost", "❌ Headphone motion error: lost",
          "OSC send error: Connection refused", "❌ Camera access denied",
          "❌ Camera access denied"}) {
        log.line(each);
    }
    EXPECT_THAT(lines.lines,
                ElementsAre("OSC send error: Connection refused", "✅ OSC UDP connection ready",
                            "❌ Headphone motion error: lost", "OSC send error: Connection refused",
                            "❌ Camera access denied", "❌ Camera access denied"));
}

}  // namespace
}  // namespace velmaro

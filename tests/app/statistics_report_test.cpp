#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "app/StatisticsReport.h"
#include "fakes/Dispatch.h"
#include "fakes/Log.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class StatisticsReportTest : public testing::Test {
protected:
    /// Each another number, so that none stands in another one's place.
    void count(unsigned times) {
        telemetry.framesIn += 2 * times;
        telemetry.framesAnalysed += 3 * times;
        telemetry.framesWithFace += 5 * times;
        telemetry.networkRuns += 7 * times;
        telemetry.framesDropped += 11 * times;
        telemetry.framesPassedOver += 13 * times;
        telemetry.datagramsOut += 17 * times;
    }

    Telemetry telemetry;
    fakes::CapturedLog log;
    fakes::HandCrankedQueue mainQueue{"main"};
    std::shared_ptr<StatisticsReport> report =
        std::make_shared<StatisticsReport>(telemetry, mainQueue);
};

TEST_F(StatisticsReportTest, EachNumberIsOfItsOwnSecond) {
    count(100);
    report->start(log);
    count(1);
    mainQueue.advance(1);
    EXPECT_THAT(log.take(),
                ElementsAre(StartsWith("frames in 2, analysed 3, with a face 5, "
                                       "network runs 7, dropped 11, passed over 13, "
                                       "datagrams out 17, frame to datagram p50 0.00 ms "
                                       "p99 0.00 ms, cost ")));
    count(2);
    mainQueue.advance(1);
    EXPECT_THAT(log.take(), ElementsAre(StartsWith("frames in 4, analysed 6, with a face 10, "
                                                   "network runs 14, dropped 22, passed over 26, "
                                                   "datagrams out 34, ")));
    report.reset();
    mainQueue.advance(2);
    EXPECT_THAT(log.take(), ElementsAre());
}

TEST_F(StatisticsReportTest, TheSlowestOfAHundredIsNotTheMiddle) {
    using std::chrono::milliseconds;
    report->start(log);
    for (int i = 0; i < 97; ++i) {
        telemetry.onFrameToDatagram(milliseconds(4));
    }
    for (int i = 0; i < 3; ++i) {
        telemetry.onFrameToDatagram(milliseconds(250));
    }
    mainQueue.advance(1);
    EXPECT_THAT(log.take(), ElementsAre(testing::HasSubstr("p50 4.01 ms p99 260.00 ms")));
    mainQueue.advance(1);
    EXPECT_THAT(log.take(), ElementsAre(testing::HasSubstr("p50 0.00 ms p99 0.00 ms")));
}

}  // namespace
}  // namespace velmaro

#include <gtest/gtest.h>

#include <string>

#include "backends/airpods/AirPodsModels.h"

namespace velmaro {
namespace {

TEST(AirPodsModels, AreKnownByVendorAndProduct) {
    for (const char* const product :
         {"200A", "200E", "2013", "2014", "2019", "201B", "201F", "2024", "2027"}) {
        const std::string modalias = std::string("bluetooth:v004Cp") + product;
        EXPECT_TRUE(areHeadTrackingAirPods(modalias + "d0100")) << modalias;
        EXPECT_TRUE(areHeadTrackingAirPods(modalias)) << modalias;
    }
    EXPECT_TRUE(areHeadTrackingAirPods("bluetooth:v004cp201bdB087"));
}

TEST(AirPodsModels, OtherDevicesAreNone) {
    for (const char* const modalias :
         {"", "bluetooth:", "bluetooth:v004C", "bluetooth:v004Cp", "bluetooth:v004Cp201",
          "bluetooth:v004Cp2002d0100", "bluetooth:v004Cp200Fd0100", "bluetooth:v004Cp0267d0112",
          "bluetooth:v054Cp2014d0100", "usb:v004Cp2014d0100", " bluetooth:v004Cp2014d0100",
          "bluetooth:v004Cp20x4d0100", "bluetooth:v-04Cp2014", "bluetooth:v004Cp+014"}) {
        EXPECT_FALSE(areHeadTrackingAirPods(modalias)) << modalias;
    }
}

}  // namespace
}  // namespace velmaro

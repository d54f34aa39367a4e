#include <gtest/gtest.h>

#include "backends/airpods/AirPodsAttitude.h"
#include "backends/airpods/AirPodsPacket.h"
#include "backends/airpods/BluetoothChannel.h"
#include "backends/airpods/Packets.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

std::optional<AirPodsOrientation> parse(const Bytes& packet) {
    return parseAirPodsMotion(packet);
}

TEST(AirPodsPacket, HoldsThreeCounts) {
    EXPECT_EQ(parse(motionPacket({1, 0x8002, 0xFFFF})), (AirPodsOrientation{1, 0x8002, 0xFFFF}));
    EXPECT_EQ(parse(motionPacket({7, 8, 9}, 16)), (AirPodsOrientation{7, 8, 9}));
    EXPECT_EQ(parse(motionPacket({7, 8, 9}, 14 | 0x40)), (AirPodsOrientation{7, 8, 9}));
}

TEST(AirPodsPacket, FindsThemBehindAnySequenceNumber) {
    for (const Bytes& sequence :
         {Bytes{}, Bytes{0x08, 0x01}, Bytes{0x08, 0x80, 0x80, 0x01},
          Bytes{0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}}) {
        EXPECT_EQ(parse(motionPacket({1, 2, 3}, 14, sequence)), (AirPodsOrientation{1, 2, 3}));
    }
}

TEST(AirPodsPacket, PassesOverFieldsOfEveryKind) {
    const Bytes others{0x09, 1, 2, 3, 4, 5, 6, 7, 8, 0x4A, 0x02, 0xFF, 0xFF, 0x1D, 1, 2, 3, 4};
    EXPECT_EQ(parse(motionPacket({1, 2, 3}, 14, others)), (AirPodsOrientation{1, 2, 3}));
}

TEST(AirPodsPacket, TwoBytesMayTrail) {
    Bytes inside = motionPacket({1, 2, 3});
    inside[10] += 2;
    append(inside, {0xFF, 0xFF});
    EXPECT_EQ(parse(inside), (AirPodsOrientation{1, 2, 3}));
    Bytes behind = motionPacket({1, 2, 3});
    append(behind, {0x3A, 0x00});
    EXPECT_EQ(parse(behind), (AirPodsOrientation{1, 2, 3}));
}

TEST(AirPodsPacket, RefusesOtherPackets) {
    EXPECT_FALSE(parse({}));
    EXPECT_FALSE(parse(motionPacket({1, 2, 3}, 13)));
    EXPECT_FALSE(parse(enveloped({})));
    EXPECT_FALSE(parse(enveloped({0x08, 0x01})));
    EXPECT_FALSE(parse(enveloped({0x3A, 0x02, 0x08, 0x0E})));
    // The ear notification and a start of ours.
    EXPECT_FALSE(parse({0x04, 0x00, 0x04, 0x00, 0x06, 0x00, 0x00, 0x00}));
    const auto start = airPodsStart(AirPodsService::motion14);
    EXPECT_FALSE(parseAirPodsMotion(start));
    Bytes other = motionPacket({1, 2, 3});
    other[4] = 0x18;
    EXPECT_FALSE(parse(other));
}

TEST(AirPodsPacket, RefusesEveryTruncation) {
    const Bytes whole = motionPacket({1, 2, 3});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(parseAirPodsMotion({whole.data(), size})) << size;
    }
}

TEST(AirPodsPacket, SurvivesLyingLengths) {
    for (std::size_t i = 10; i < 24; ++i) {
        for (int value = 0; value < 256; ++value) {
            Bytes packet = motionPacket({1, 2, 3});
            packet[i] = static_cast<std::uint8_t>(value);
            const auto counts = parse(packet);
            EXPECT_TRUE(!counts || counts->size() == 3);
        }
    }
    EXPECT_FALSE(parse(
        enveloped({0x3A, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x08, 0x0E})));
    EXPECT_FALSE(parse(enveloped(Bytes(40, 0xFF))));
}

TEST(AirPodsPacket, LengthsOfWhatIsSentAreConsistent) {
    for (const auto service : {AirPodsService::motion14, AirPodsService::motion16}) {
        for (const auto packet : {airPodsStart(service), airPodsStop(service)}) {
            EXPECT_EQ(packet.size(), 12U + packet[10]);
        }
    }
    EXPECT_EQ(airPodsHandshake().size(), 16U);
    EXPECT_EQ(airPodsNotifications().size(), 10U);
    EXPECT_TRUE(isAirPodsHandshakeAnswer(Bytes{1, 0, 4, 0, 0, 0}));
    EXPECT_FALSE(isAirPodsHandshakeAnswer(Bytes{1, 0, 4}));
    EXPECT_FALSE(isAirPodsHandshakeAnswer(Bytes{4, 0, 4, 0}));
}

TEST(AirPodsAttitude, IsRelativeToTheFirst) {
    AirPodsAttitude attitude;
    EXPECT_EQ(attitude.attitude({100, 200, 300}), (CMQuaternion{0, 0, 0, 1}));
    // Half a turn is 32000: o2 and o3 together are pitch, apart yaw, half of what o1 is beyond
    // pitch roll.
    EXPECT_EQ(attitude.attitude({100 + 1600, 200 + 1600, 300 + 1600}), attitudeFromAngles(0, 9, 0));
    EXPECT_EQ(attitude.attitude({100, 200 + 1600, 300 - 1600 + 65536}),
              attitudeFromAngles(9, 0, 0));
    EXPECT_EQ(attitude.attitude({100 + 3200, 200, 300}), attitudeFromAngles(0, 0, 9));
    attitude.forget();
    EXPECT_EQ(attitude.attitude({9, 9, 9}), (CMQuaternion{0, 0, 0, 1}));
}

TEST(AirPodsAttitude, WrapsAround) {
    AirPodsAttitude attitude;
    (void)attitude.attitude({65000, 65000, 65000});
    EXPECT_EQ(attitude.attitude({1064, 1064, 1064}), attitudeFromAngles(0, 9, 0));
    EXPECT_EQ(attitude.attitude({63400, 63400, 63400}), attitudeFromAngles(0, -9, 0));
}

TEST(AirPodsAttitude, MayBeReversed) {
    AirPodsAttitude attitude({-1, -1, -1});
    (void)attitude.attitude({0, 0, 0});
    EXPECT_EQ(attitude.attitude({1600, 1600, 1600}), attitudeFromAngles(0, -9, 0));
    EXPECT_EQ(attitude.attitude({3200, 0, 0}), attitudeFromAngles(0, 0, -9));
}

TEST(BluetoothAddress, IsSixHexadecimalBytes) {
    EXPECT_EQ(parseBluetoothAddress("00:11:22:aA:Bb:CC"),
              (BluetoothAddress{0x00, 0x11, 0x22, 0xAA, 0xBB, 0xCC}));
    for (const char* const wrong : {"", "00:11:22:AA:BB", "00:11:22:AA:BB:CG", "00-11-22-AA-BB-CC",
                                    "00:11:22:AA:BB:CC:", "0:011:22:AA:BB:CC", "+0:11:22:AA:BB:CC",
                                    " 0:11:22:AA:BB:CC", "-1:11:22:AA:BB:CC"}) {
        EXPECT_FALSE(parseBluetoothAddress(wrong)) << wrong;
    }
}

}  // namespace
}  // namespace velmaro

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <string>
#include <vector>

#include "osc/OSCMessage.h"

namespace velmaro {
namespace {

using testing::IsEmpty;

std::string hex(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        constexpr const char* kDigits = "0123456789ABCDEF";
        text += text.empty() ? "" : " ";
        text += kDigits[std::to_integer<int>(byte) >> 4];
        text += kDigits[std::to_integer<int>(byte) & 15];
    }
    return text;
}

struct Row {
    std::string address;
    std::vector<float> values;
    std::string expected;
};

class OSCMessageBytes : public testing::TestWithParam<Row> {};

TEST_P(OSCMessageBytes, AreExact) {
    const Row& row = GetParam();
    EXPECT_EQ(hex(createOSCMessage(row.address, row.values)), row.expected);
}

constexpr float kInfinity = std::numeric_limits<float>::infinity();
const float kSignallingNaN = std::bit_cast<float>(std::uint32_t{0x7FA1B2C3});
const float kNegativeQuietNaN = std::bit_cast<float>(std::uint32_t{0xFFC00001});

INSTANTIATE_TEST_SUITE_P(
    Table, OSCMessageBytes,
    testing::Values(
        Row{"/ypr",
            {10.0F, -5.0F, 0.0F},
            "2F 79 70 72 00 00 00 00 2C 66 66 66 00 00 00 00 "
            "41 20 00 00 C0 A0 00 00 00 00 00 00"},
        Row{"/ypr", {}, "2F 79 70 72 00 00 00 00 2C 00 00 00"},
        Row{"/ab",
            {1.0F, 2.0F, 3.0F, 4.0F},
            "2F 61 62 00 2C 66 66 66 66 00 00 00 "
            "3F 80 00 00 40 00 00 00 40 40 00 00 40 80 00 00"},
        Row{"/abc1", {1.0F}, "2F 61 62 63 31 00 00 00 2C 66 00 00 3F 80 00 00"},
        Row{"", {}, "00 00 00 00 2C 00 00 00"}, Row{"/", {}, "2F 00 00 00 2C 00 00 00"},
        // Two values leave no padding behind the tags, three values leave three bytes.
        Row{"/a", {0.0F, 0.0F}, "2F 61 00 00 2C 66 66 00 00 00 00 00 00 00 00 00"},
        Row{"/a",
            {0.0F, 0.0F, 0.0F},
            "2F 61 00 00 2C 66 66 66 00 00 00 00 "
            "00 00 00 00 00 00 00 00 00 00 00 00"},
        Row{"/a", {-0.0F}, "2F 61 00 00 2C 66 00 00 80 00 00 00"},
        Row{"/a", {kInfinity, -kInfinity}, "2F 61 00 00 2C 66 66 00 7F 80 00 00 FF 80 00 00"},
        Row{"/a",
            {kSignallingNaN, kNegativeQuietNaN},
            "2F 61 00 00 2C 66 66 00 7F A1 B2 C3 FF C0 00 01"},
        Row{"/a",
            {std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max()},
            "2F 61 00 00 2C 66 66 00 00 00 00 01 7F 7F FF FF"},
        // Nothing of the address is checked, escaped or dropped.
        Row{"no slash", {}, "6E 6F 20 73 6C 61 73 68 00 00 00 00 2C 00 00 00"},
        Row{"/*?[]{}#", {}, "2F 2A 3F 5B 5D 7B 7D 23 00 00 00 00 2C 00 00 00"},
        Row{std::string("/a\0b", 4), {}, "2F 61 00 62 00 00 00 00 2C 00 00 00"},
        Row{"\x7F\x01", {}, "7F 01 00 00 2C 00 00 00"}));

TEST(OSCMessage, HasTheSizeOfItsFieldsForEveryLength) {
    for (std::size_t length = 0; length <= 40; ++length) {
        for (std::size_t count = 0; count <= 20; ++count) {
            const auto message =
                createOSCMessage(std::string(length, 'x'), std::vector<float>(count, 1.0F));
            const std::size_t expected =
                4 * ((length + 1 + 3) / 4) + 4 * ((count + 2 + 3) / 4) + 4 * count;
            ASSERT_EQ(message.size(), expected) << length << " bytes, " << count << " values";
            ASSERT_EQ(message.size() % 4, 0U);
        }
    }
}

TEST(OSCMessage, ReadsNothingBehindTheAddress) {
    const std::string_view longer = "/yprX\x80";
    EXPECT_EQ(hex(createOSCMessage(longer.substr(0, 4), {})),
              "2F 79 70 72 00 00 00 00 2C 00 00 00");
}

TEST(OSCMessage, TakesNoMemoryButWhatItIsGiven) {
    std::array<std::byte, 28> buffer;
    std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size(),
                                               std::pmr::null_memory_resource());
    const auto message = createOSCMessage("/ypr", std::array{1.0F, 2.0F, 3.0F}, &memory);
    EXPECT_EQ(message.size(), 28U);
    EXPECT_EQ(message.data(), buffer.data());
}

TEST(OSCMessageDeathTest, NonASCIIAddressEndsTheProcessWithoutAMessage) {
    for (const char* address : {"/t\u00EAte", "\x80", "/ypr\xFF", "/\U0001F3A7"}) {
        EXPECT_EXIT((void)createOSCMessage(address, {}), testing::KilledBySignal(SIGABRT),
                    IsEmpty())
            << address;
    }
}

TEST(OSCMessageDeathTest, EveryByteOfALongAddressIsLookedAt) {
    for (const std::size_t position : {15U, 16U, 17U, 31U, 32U, 63U, 299U}) {
        std::string address(300, 'x');
        address[position] = '\x80';
        EXPECT_EXIT((void)createOSCMessage(address, {}), testing::KilledBySignal(SIGABRT),
                    IsEmpty())
            << position;
    }
    std::string ascii(300, '\x7F');
    EXPECT_EQ(createOSCMessage(ascii, {}).size(), 308U);
}

}  // namespace
}  // namespace velmaro

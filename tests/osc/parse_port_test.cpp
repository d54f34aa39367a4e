#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "osc/OSCManager.h"

namespace velmaro {
namespace {

TEST(ParsePort, TakesSignsAndLeadingZeros) {
    EXPECT_EQ(parsePort("8000"), 8000);
    EXPECT_EQ(parsePort("+8000"), 8000);
    EXPECT_EQ(parsePort("08000"), 8000);
    EXPECT_EQ(parsePort("+0008000"), 8000);
    std::string thousandZeros(1000, '0');
    EXPECT_EQ(parsePort(thousandZeros.append("9")), 9);
    EXPECT_EQ(parsePort("0"), 0);
    EXPECT_EQ(parsePort("+0"), 0);
    EXPECT_EQ(parsePort("-0"), 0);
    EXPECT_EQ(parsePort("-000"), 0);
    EXPECT_EQ(parsePort("1"), 1);
    EXPECT_EQ(parsePort("65535"), 65535);
}

TEST(ParsePort, RefusesEverythingElse) {
    for (const std::string text : {"",
                                   "+",
                                   "-",
                                   "++1",
                                   "+-1",
                                   "-+0",
                                   "--0",
                                   " 8000",
                                   "8000 ",
                                   "80 00",
                                   "\t8000",
                                   "8000\n",
                                   "80a0",
                                   "abc",
                                   "0x1F",
                                   "8e3",
                                   "8000.",
                                   "8.0",
                                   "8,000",
                                   "80:0",
                                   ":",
                                   "/8000",
                                   "65536",
                                   "65537",
                                   "70000",
                                   "99999",
                                   "4294967296",
                                   "4294967297",
                                   "18446744073709551617",
                                   "-1",
                                   "-8000",
                                   "-65536",
                                   "\xD9\xA8",
                                   "\xEF\xBC\x98"}) {
        EXPECT_EQ(parsePort(text), std::nullopt) << '"' << text << '"';
    }
    EXPECT_EQ(parsePort(std::string("8000\0", 5)), std::nullopt);
    EXPECT_EQ(parsePort(std::string(100000, '9')), std::nullopt);
}

}  // namespace
}  // namespace velmaro

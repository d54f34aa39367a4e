#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "headphones/HeadphoneCalibrationStorage.h"

namespace velmaro {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr HeadphoneCalibrationStorage kRecord{1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5};

std::optional<HeadphoneCalibrationStorage> decode(std::string_view json) {
    return decodeHeadphoneCalibrationStorage(json);
}

/// The record, with `idle` standing for the number of idleZ and what follows it.
std::string withEnd(const std::string& idleZ) {
    return R"({"calibrationW":1.5,"calibrationX":2.5,"calibrationY":3.5,"calibrationZ":4.5,)"
           R"("idleW":5.5,"idleX":6.5,"idleY":7.5,"idleZ":)" +
           idleZ;
}

TEST(CalibrationStorage, WritesItsMembersInOrder) {
    EXPECT_EQ(encode(HeadphoneCalibrationStorage{}),
              R"({"calibrationW":1,"calibrationX":0,"calibrationY":0,"calibrationZ":0,)"
              R"("idleW":1,"idleX":0,"idleY":0,"idleZ":0})");
    EXPECT_EQ(encode(kRecord), withEnd("8.5}"));
}

TEST(CalibrationStorage, WritesTheShortestNumbersThatReadBack) {
    EXPECT_EQ(encode({0.1, -0.0, 1e-7, 5e-324, 1e300, 0.30000000000000004, -2, 1.0 / 3}),
              R"({"calibrationW":0.1,"calibrationX":-0,"calibrationY":1e-07,)"
              R"("calibrationZ":5e-324,"idleW":1e+300,"idleX":0.30000000000000004,)"
              R"("idleY":-2,"idleZ":0.3333333333333333})");
}

TEST(CalibrationStorage, RefusesToWriteWhatIsNotFinite) {
    for (double HeadphoneCalibrationStorage::*member :
         {&HeadphoneCalibrationStorage::calibrationW, &HeadphoneCalibrationStorage::calibrationX,
          &HeadphoneCalibrationStorage::calibrationY, &HeadphoneCalibrationStorage::calibrationZ,
          &HeadphoneCalibrationStorage::idleW, &HeadphoneCalibrationStorage::idleX,
          &HeadphoneCalibrationStorage::idleY, &HeadphoneCalibrationStorage::idleZ}) {
        for (const double value : {std::nan(""), kInfinity, -kInfinity}) {
            HeadphoneCalibrationStorage record = kRecord;
            record.*member = value;
            EXPECT_EQ(encode(record), std::nullopt);
        }
    }
}

TEST(CalibrationStorage, ReadsBackEveryBit) {
    std::mt19937_64 random(20240229);
    const auto anyFinite = [&] {
        for (;;) {
            const auto value = std::bit_cast<double>(random());
            if (std::isfinite(value)) {
                return value;
            }
        }
    };
    for (int round = 0; round < 2000; ++round) {
        const HeadphoneCalibrationStorage record{anyFinite(), anyFinite(), anyFinite(),
                                                 anyFinite(), anyFinite(), anyFinite(),
                                                 anyFinite(), anyFinite()};
        const auto json = encode(record);
        ASSERT_TRUE(json);
        ASSERT_EQ(decode(*json), record) << *json;
    }
    const auto zeros = decode(encode({-0.0, 0.0, -0.0, 0.0, -0.0, 0.0, -0.0, 0.0}).value());
    ASSERT_TRUE(zeros);
    EXPECT_TRUE(std::signbit(zeros->calibrationW));
    EXPECT_FALSE(std::signbit(zeros->calibrationX));
    EXPECT_TRUE(std::signbit(zeros->idleY));
    EXPECT_FALSE(std::signbit(zeros->idleZ));
}

TEST(CalibrationStorage, ReadsAnyOrderAndWhiteSpace) {
    EXPECT_EQ(decode(" {\n\t\"idleZ\" : 8.5,\r\n \"idleX\":6.5, \"idleW\":5.5, \"idleY\":7.5,"
                     "\"calibrationZ\":4.5,\"calibrationX\":2.5,\"calibrationW\":1.5,"
                     "\"calibrationY\":3.5 } \n"),
              kRecord);
}

TEST(CalibrationStorage, ReadsEveryFormOfANumber) {
    for (const char* number : {"8.5", "85e-1", "0.85E+1", "8.50", "850e-2"}) {
        EXPECT_EQ(decode(withEnd(std::string(number) + "}")), kRecord) << number;
    }
    EXPECT_EQ(decode(withEnd("1}")).value().idleZ, 1);
    EXPECT_EQ(decode(withEnd("1.0}")).value().idleZ, 1);
    EXPECT_EQ(decode(withEnd("-3}")).value().idleZ, -3);
    EXPECT_EQ(decode(withEnd("18446744073709551616}")).value().idleZ, 0x1p64);
    EXPECT_EQ(decode(withEnd("9007199254740993}")).value().idleZ, 9007199254740992.0);
    EXPECT_EQ(decode(withEnd("1e-400}")).value().idleZ, 0);
}

TEST(CalibrationStorage, KnowsAKeyThatIsEscaped) {
    std::string json = withEnd("8.5}");
    json.replace(json.find("idleW"), 1, "\\u0069");
    EXPECT_EQ(decode(json), kRecord) << json;
}

TEST(CalibrationStorage, PassesOverOtherMembers) {
    for (const char* extra :
         {R"("a":1)", R"("a":null)", R"("a":true)", R"("a":"text")", R"("a":[1,[2,{}]])",
          R"("a":{"idleZ":"x","b":{"idleZ":1}})", R"("a":{},"b":[],"idlez":0,"":0)",
          R"("a":[{"k":1},{"k":2}])", R"("a":{"x":{"k":1},"k":2})"}) {
        EXPECT_EQ(decode(withEnd(std::string("8.5,") + extra + "}")), kRecord) << extra;
        EXPECT_EQ(decode("{" + std::string(extra) + "," + withEnd("8.5}").substr(1)), kRecord)
            << "before the others: " << extra;
    }
}

TEST(CalibrationStorage, RefusesARecordThatIsNotWhole) {
    const std::string whole = withEnd("8.5}");
    for (const char* key : {"calibrationW", "calibrationX", "calibrationY", "calibrationZ", "idleW",
                            "idleX", "idleY", "idleZ"}) {
        std::string json = whole;
        json.replace(json.find(key), 1, "?");
        EXPECT_EQ(decode(json), std::nullopt) << key;
    }
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(decode(std::string_view(whole).substr(0, length)), std::nullopt) << length;
    }
}

TEST(CalibrationStorage, RefusesMembersThatAreNotNumbers) {
    for (const char* value :
         {"null", "true", "false",    "\"8.5\"",   "[8.5]", "[]",     "{}",   "{\"idleZ\":1}",
          "NaN",  "nan",  "Infinity", "-Infinity", "1e999", "-1e999", "+8.5", "08.5",
          ".5",   "8.",   "0x1p3",    "8,5",       "1e",    "--1",    ""}) {
        EXPECT_EQ(decode(withEnd(std::string(value) + "}")), std::nullopt) << value;
    }
}

TEST(CalibrationStorage, RefusesWhatIsNotOneJsonObject) {
    const std::string whole = withEnd("8.5}");
    using namespace std::string_view_literals;
    for (const std::string_view json :
         {""sv, " "sv, "{}"sv, "[]"sv, "1"sv, "-1"sv, "1.5"sv, "null"sv, "true"sv, "\"text\""sv,
          "[1.5,2.5,3.5,4.5,5.5,6.5,7.5,8.5]"sv, "\xFF"sv, "\0"sv}) {
        EXPECT_EQ(decode(json), std::nullopt) << json;
    }
    EXPECT_EQ(decode("[" + whole + "]"), std::nullopt);
    for (const std::string_view end : {"x"sv, "}"sv, ","sv, "{}"sv, "//"sv, "\0"sv, "\0x"sv}) {
        EXPECT_EQ(decode(whole + std::string(end)), std::nullopt) << end;
    }
    for (const char* value : {"8.5,}", "8.5,\"a\":NaN}", "8.5,\"a\":1e999}", "8.5,\"a\":[1,]}",
                              "8.5,\"a\":\"\xFF\"}", "8.5,'a':1}", "8.5/**/}"}) {
        EXPECT_EQ(decode(withEnd(value)), std::nullopt) << value;
    }
    EXPECT_EQ(decode(std::string(1'000'000, '[')), std::nullopt);
}

TEST(CalibrationStorage, TakesTheLastOfAKeyThatComesTwice) {
    EXPECT_EQ(decode(withEnd(R"(1,"idleZ":8.5})")), kRecord);
    EXPECT_EQ(decode(R"({"idleW":1,)" + withEnd("8.5}").substr(1)), kRecord);
    for (const char* end : {R"(8.5,"a":1,"a":"x"})", R"(8.5,"a":{"k":1,"k":1}})",
                            R"(8.5,"a":[{"k":1,"k":1}]})", R"(8.5,"idleZ":8.5})"}) {
        EXPECT_EQ(decode(withEnd(end)), kRecord) << end;
    }
    for (const char* end :
         {R"(8.5,"idleZ":null})", R"("x","idleZ":8.5})", R"(8.5,"idleZ":[8.5]})",
          R"([8.5],"idleZ":8.5})", R"(8.5,"idleZ":[]})", R"(8.5,"idleZ":{"idleZ":8.5}})",
          R"({"idleZ":8.5},"idleZ":8.5})", R"(8.5,"idleZ":{}})"}) {
        EXPECT_EQ(decode(withEnd(end)), std::nullopt) << "neither may be anything else: " << end;
    }
}

}  // namespace
}  // namespace velmaro

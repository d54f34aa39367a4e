#include <gtest/gtest.h>

#include "backends/hid/Descriptors.h"
#include "backends/hid/HidReportDescriptor.h"

namespace velmaro {
namespace {

using Kind = HidReportKind;

HidReportDescriptor parsed(const Bytes& bytes) {
    auto result = parseHidReportDescriptor(bytes);
    if (!result) {
        ADD_FAILURE() << result.error().description;
        return {};
    }
    return std::move(*result);
}

HidReportDescriptor parsed(std::string_view hex) {
    return parsed(fromHex(hex));
}

std::string refusal(std::string_view hex) {
    const auto result = parseHidReportDescriptor(fromHex(hex));
    return result ? "" : result.error().description;
}

TEST(HidReportDescriptor, MeasuresTheReportsOfAHeadTracker) {
    const Bytes bytes = trackerDescriptor();
    ASSERT_EQ(bytes.size(), 174U);
    const auto descriptor = parsed(bytes);
    EXPECT_TRUE(descriptor.hasReportIDs);
    EXPECT_EQ(descriptor.reportSize(Kind::feature, 2), 40U);
    EXPECT_EQ(descriptor.reportSize(Kind::feature, 1), 2U);
    EXPECT_EQ(descriptor.reportSize(Kind::input, 1), 14U);
    EXPECT_EQ(descriptor.reportSize(Kind::output, 1), 0U);
    EXPECT_EQ(descriptor.reportSize(Kind::input, 2), 0U);
    EXPECT_EQ(descriptor.fields.size(), 8U);
}

TEST(HidReportDescriptor, KeepsWhatTheItemsSay) {
    const auto descriptor = parsed(trackerDescriptor());
    const HidField* const rotation = descriptor.find(Kind::input, 0x200544, 0x2000E1);
    ASSERT_NE(rotation, nullptr);
    EXPECT_EQ(rotation->reportID, 1);
    EXPECT_EQ(rotation->bitOffset, 8U);
    EXPECT_EQ(rotation->bitSize, 16U);
    EXPECT_EQ(rotation->count, 3U);
    EXPECT_TRUE(rotation->isVariable);
    EXPECT_EQ(rotation->logicalMinimum, -32767);
    EXPECT_EQ(rotation->logicalMaximum, 32767);
    EXPECT_EQ(rotation->physicalMinimum, -314159264);
    EXPECT_EQ(rotation->physicalMaximum, 314159265);
    EXPECT_EQ(rotation->unitExponent, -8);
    const HidField* const interval = descriptor.find(Kind::feature, 0x20030E, 0x2000E1);
    ASSERT_NE(interval, nullptr);
    EXPECT_EQ(interval->bitOffset, 10U);
    EXPECT_EQ(interval->bitSize, 6U);
    EXPECT_EQ(interval->unitExponent, -3);
    EXPECT_EQ(interval->toLogical(0.04), 21);
    EXPECT_EQ(interval->toLogical(0.01), 0);
    EXPECT_EQ(interval->toLogical(1), 63);
    EXPECT_EQ(interval->toLogical(0), 0);
    const HidField* const reporting = descriptor.find(Kind::feature, 0x200841, 0x2000E1);
    ASSERT_NE(reporting, nullptr);
    EXPECT_FALSE(reporting->isVariable);
    EXPECT_EQ(reporting->indexOf(0x200840), 0U);
    EXPECT_EQ(reporting->indexOf(0x200841), 1U);
    EXPECT_FALSE(reporting->indexOf(0x200842));
    EXPECT_TRUE(descriptor.fields[0].isConstant);
    EXPECT_EQ(descriptor.find(Kind::input, 0x200544, 0x010002), nullptr);
}

TEST(HidReportDescriptor, ReadsTheSignOfLimitsFromTheirMinimum) {
    const auto unsignedMaximum = parsed("05 01 09 30 15 00 25 FF 75 08 95 01 81 02");
    EXPECT_EQ(unsignedMaximum.fields.at(0).logicalMaximum, 255);
    const auto signedMaximum = parsed("05 01 09 30 15 80 25 FF 75 08 95 01 81 02");
    EXPECT_EQ(signedMaximum.fields.at(0).logicalMinimum, -128);
    EXPECT_EQ(signedMaximum.fields.at(0).logicalMaximum, -1);
    const auto maximumFirst = parsed("05 01 09 30 25 FF 15 00 75 08 95 01 81 02");
    EXPECT_EQ(maximumFirst.fields.at(0).logicalMaximum, 255);
    const auto wide = parsed("05 01 09 30 15 00 27 FF FF FF FF 75 20 95 01 81 02");
    EXPECT_EQ(wide.fields.at(0).logicalMaximum, 4294967295);
}

TEST(HidReportDescriptor, ReadsExponentsAsSignedHalfBytes) {
    for (const auto& [hex, exponent] : {std::pair("55 08", -8),
                                        {"55 0D", -3},
                                        {"55 0F", -1},
                                        {"55 07", 7},
                                        {"55 00", 0},
                                        {"55 FD", -3},
                                        {"55 80", -8},
                                        {"54", 0}}) {
        const auto descriptor = parsed(std::string(hex) + " 75 08 95 01 81 02");
        EXPECT_EQ(descriptor.fields.at(0).unitExponent, exponent) << hex;
    }
}

TEST(HidReportDescriptor, PushesAndPopsGlobalItems) {
    const auto descriptor =
        parsed("05 01 75 08 95 01 15 00 25 7F A4 05 02 75 04 25 0F 09 30 81 02 B4 09 31 81 02");
    ASSERT_EQ(descriptor.fields.size(), 2U);
    EXPECT_EQ(descriptor.fields[0].bitSize, 4U);
    EXPECT_TRUE(descriptor.fields[0].indexOf(0x020030));
    EXPECT_EQ(descriptor.fields[1].bitSize, 8U);
    EXPECT_EQ(descriptor.fields[1].bitOffset, 4U);
    EXPECT_EQ(descriptor.fields[1].logicalMaximum, 127);
    EXPECT_TRUE(descriptor.fields[1].indexOf(0x010031));
    EXPECT_FALSE(descriptor.hasReportIDs);
}

TEST(HidReportDescriptor, TakesUsageRangesAndWholeUsages) {
    const auto descriptor =
        parsed("05 09 19 03 29 07 0B 44 05 20 00 1B 00 00 01 00 2B 02 00 01 00 75 01 95 09 81 02");
    const HidField& field = descriptor.fields.at(0);
    EXPECT_EQ(field.indexOf(0x090003), 0U);
    EXPECT_EQ(field.indexOf(0x090007), 4U);
    EXPECT_EQ(field.indexOf(0x200544), 5U);
    EXPECT_EQ(field.indexOf(0x010002), 8U);
    EXPECT_FALSE(field.indexOf(0x090008));
}

TEST(HidReportDescriptor, TheLastUsagePageBeforeTheMainItemCounts) {
    EXPECT_TRUE(parsed("05 01 09 44 05 20 75 08 95 01 81 02").fields.at(0).indexOf(0x200044));
}

TEST(HidReportDescriptor, HugeUsageRangesCostNothing) {
    std::string text;
    for (int i = 0; i < 100; ++i) {
        text += "1B 00 00 00 00 2B FF FF FF FF ";
    }
    const auto descriptor = parsed(text + "75 08 95 01 81 02");
    EXPECT_EQ(descriptor.fields.at(0).usages.size(), 100U);
}

TEST(HidReportDescriptor, SkipsLongItemsAndReservedOnes) {
    const auto descriptor = parsed("FE 02 F0 81 02 05 01 FE 00 F1 0C D0 09 30 75 08 95 01 81 02");
    ASSERT_EQ(descriptor.fields.size(), 1U);
    EXPECT_TRUE(descriptor.fields[0].indexOf(0x010030));
}

TEST(HidReportDescriptor, RefusesWhatMakesNoSense) {
    EXPECT_NE(refusal("A1 01"), "");
    EXPECT_NE(refusal("C0"), "");
    EXPECT_NE(refusal("A1 01 C0 C0"), "");
    EXPECT_NE(refusal("B4"), "");
    EXPECT_NE(refusal("85 00"), "");
    EXPECT_NE(refusal("86 00 01"), "");
    EXPECT_NE(refusal("75 08 95 01 81 02 85 01 81 02"), "") << "an id for some reports only";
    EXPECT_NE(refusal("75"), "");
    EXPECT_NE(refusal("26 FF"), "");
    EXPECT_NE(refusal("27 FF FF FF"), "");
    EXPECT_NE(refusal("FE"), "");
    EXPECT_NE(refusal("FE 00"), "");
    EXPECT_NE(refusal("FE 05 00 01"), "");
    EXPECT_NE(refusal("77 FF FF FF FF 97 FF FF FF FF 81 02"), "");
    EXPECT_NE(refusal("75 20 96 01 10 81 02"), "");
    std::string deep;
    std::string often;
    for (int i = 0; i < 33; ++i) {
        deep += "A1 01 ";
        often += "A4 ";
    }
    EXPECT_NE(refusal(deep), "");
    EXPECT_NE(refusal(often), "");
    EXPECT_EQ(refusal(""), "");
}

TEST(HidReportDescriptor, EveryTruncationIsHandled) {
    const Bytes whole = secondTrackerDescriptor();
    // The first four bytes name what the collection is for.
    for (std::size_t size = 5; size < whole.size(); ++size) {
        EXPECT_FALSE(parseHidReportDescriptor({whole.data(), size}))
            << size << ": the collection is open";
    }
}

TEST(HidField, ReadsAndWritesBitsAnywhere) {
    HidField field;
    field.bitOffset = 10;
    field.bitSize = 6;
    field.count = 2;
    Bytes report{0xFF, 0xFF, 0xFF};
    EXPECT_TRUE(field.write(report, 0, 21));
    EXPECT_EQ(report, (Bytes{0xFF, 0x57, 0xFF}));
    EXPECT_EQ(field.read(report, 0), 21);
    EXPECT_EQ(field.read(report, 1), 63);
    field.logicalMinimum = -32;
    EXPECT_EQ(field.read(report, 1), -1);
    EXPECT_FALSE(field.read(report, 2));
    EXPECT_FALSE(field.write(report, 2, 0));
    EXPECT_FALSE(field.read({report.data(), 2}, 1));
    field.bitSize = 33;
    EXPECT_FALSE(field.read(report, 0));
    field.bitSize = 0;
    EXPECT_FALSE(field.read(report, 0));
}

TEST(HidField, WithoutPhysicalLimitsHasTheLogicalOnes) {
    HidField field;
    field.logicalMaximum = 100;
    field.unitExponent = -2;
    EXPECT_DOUBLE_EQ(field.toPhysical(50), 0.5);
    EXPECT_EQ(field.toLogical(0.5), 50);
    field.logicalMaximum = -1;
    EXPECT_EQ(field.toLogical(0.5), 0);
}

}  // namespace
}  // namespace velmaro

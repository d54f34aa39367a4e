#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "app/OutputOptions.h"
#include "receivers/Receivers.h"

namespace velmaro {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

tl::expected<Options, ExitStatus> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "velmaro-cli");
    return parseCommandLine(Program::terminal, {}, static_cast<int>(arguments.size()),
                            arguments.data());
}

Options parsed(const std::vector<const char*>& arguments) {
    const auto result = parse(arguments);
    EXPECT_TRUE(result.has_value());
    return result.value_or(Options{});
}

/// What a wrong command line prints, after checking that it is one line and ends with status 2.
std::string complaint(const std::vector<const char*>& arguments) {
    CaptureStderr();
    const auto result = parse(arguments);
    std::string text = GetCapturedStderr();
    EXPECT_EQ(result.has_value() ? ExitStatus::success : result.error(), ExitStatus::wrongUsage);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    return text;
}

TEST(OutputOptions, ChangeNothingByDefault) {
    const Options options = parsed({});
    EXPECT_TRUE(options.output.isPlain());
    EXPECT_EQ(describeValues(options), "pan tilt roll in degrees");
    EXPECT_EQ(describeValues(parsed({"--quaternion"})), "w x y z");
}

TEST(OutputOptions, AReceiverBringsItsPortItsAddressAndItsConversion) {
    const Options options = parsed({"--receiver", "sparta"});
    EXPECT_EQ(options.ipAddress, "127.0.0.1");
    EXPECT_EQ(options.port, "9000");
    EXPECT_EQ(options.oscMessage, "/ypr");
    EXPECT_EQ(options.output.conversion, findReceiver("sparta")->conversion);
    EXPECT_EQ(describeValues(options), "-pan -tilt roll in degrees");
    EXPECT_EQ(describeValues(parsed({"--receiver", "iem"})), "w x y z of the field's turn");
}

TEST(OutputOptions, EveryReceiverIsKnown) {
    for (const Receiver& receiver : receivers()) {
        const Options options = parsed({"--receiver", receiver.name.data()});
        EXPECT_EQ(options.port, std::to_string(receiver.port));
        EXPECT_EQ(options.oscMessage, receiver.address);
        EXPECT_EQ(options.output.conversion, receiver.conversion);
    }
}

TEST(OutputOptions, WhatIsGivenBesideAReceiverWins) {
    for (const bool first : {true, false}) {
        std::vector<const char*> line{"--ip", "10.0.0.2", "--port", "8000", "--osc", "/ypr"};
        const std::vector<const char*> receiver{"--receiver", "adm-osc"};
        line.insert(first ? line.begin() : line.end(), receiver.begin(), receiver.end());
        const Options options = parsed(line);
        EXPECT_EQ(options.ipAddress, "10.0.0.2");
        EXPECT_EQ(options.port, "8000");
        EXPECT_EQ(options.oscMessage, "/ypr");
        EXPECT_EQ(options.output.conversion, findReceiver("adm-osc")->conversion);
    }
}

TEST(OutputOptions, AFlipIsOfTheHeadAndStandsBeforeTheReceiver) {
    EXPECT_THAT(parsed({"--flip", "pan,roll"}).output.conversion.flipped,
                ElementsAre(true, false, true));
    EXPECT_THAT(parsed({"--receiver", "sparta", "--flip", "pan,roll"}).output.conversion.flipped,
                ElementsAre(false, true, true));
}

TEST(OutputOptions, OrderUnitAndSplitAreForReceiversWithoutAName) {
    const Options options =
        parsed({"--order", "roll,tilt,pan", "--radians", "--split", "--flip", "tilt"});
    EXPECT_EQ(options.output.conversion, (Conversion{.form = Conversion::Form::split,
                                                     .flipped = {false, true, false},
                                                     .order = {Axis::roll, Axis::tilt, Axis::pan},
                                                     .radians = true}));
    EXPECT_EQ(describeValues(options), "roll -tilt pan in radians, each on its own");
}

TEST(OutputOptions, FurtherReceiversMayBeMany) {
    const Options options =
        parsed({"--also", "127.0.0.1:9001", "--also", "[::1]:9002/b", "--quaternion"});
    EXPECT_THAT(options.output.further,
                ElementsAre(Destination{"127.0.0.1", 9001}, Destination{"::1", 9002, "/b"}));
    EXPECT_EQ(options.output.conversion, Conversion{});
}

TEST(OutputOptions, TheListOfReceiversIsPrinted) {
    CaptureStdout();
    const auto result = parse({"--receiver", "list"});
    EXPECT_EQ(GetCapturedStdout(), receiverList());
    EXPECT_EQ(result.has_value() ? ExitStatus::wrongUsage : result.error(), ExitStatus::success);
}

TEST(OutputOptions, WhatIsWrongIsOneLineThatListsWhatThereIs) {
    EXPECT_THAT(complaint({"--receiver", "sparrow"}),
                AllOf(HasSubstr("'sparrow'"), HasSubstr(receiverNames())));
    EXPECT_THAT(complaint({"--flip", "yaw"}),
                AllOf(HasSubstr("'yaw'"), HasSubstr("pan, tilt, roll")));
    EXPECT_THAT(complaint({"--flip", "pan,pan"}), HasSubstr("'pan,pan'"));
    EXPECT_THAT(complaint({"--flip", ""}), HasSubstr("--flip"));
    EXPECT_THAT(complaint({"--order", "pan,tilt"}),
                AllOf(HasSubstr("'pan,tilt'"), HasSubstr("pan, tilt, roll")));
    EXPECT_THAT(complaint({"--also", "127.0.0.1"}),
                AllOf(HasSubstr("'127.0.0.1'"), HasSubstr("IP:PORT/ADDRESS")));
}

TEST(OutputOptions, AReceiverSaysItsOwnForm) {
    for (const std::vector<const char*>& other :
         {std::vector{"--quaternion"}, {"--order", "pan,tilt,roll"}, {"--radians"}, {"--split"}}) {
        std::vector<const char*> line{"--receiver", "iem"};
        line.insert(line.end(), other.begin(), other.end());
        EXPECT_THAT(complaint(line), AllOf(HasSubstr("--receiver"), HasSubstr(other[0])));
    }
}

TEST(OutputOptions, ConversionsStartFromTheAngles) {
    for (const std::vector<const char*>& other :
         {std::vector{"--flip", "pan"}, {"--order", "pan,tilt,roll"}, {"--radians"}, {"--split"}}) {
        std::vector<const char*> line{"--quaternion"};
        line.insert(line.end(), other.begin(), other.end());
        EXPECT_THAT(complaint(line), AllOf(HasSubstr("--quaternion"), HasSubstr(other[0])));
    }
}

}  // namespace
}  // namespace velmaro

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "integration/support/Program.h"

namespace velmaro::integration {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

/// One clear line, from the program and nobody else.
void expectOneLine(const std::string& errors) {
    EXPECT_THAT(errors, StartsWith("velmaro-cli: "));
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
}

TEST(ProgramErrors, WrongOptionsEndWithTwo) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--nonsense"}, {"--port", "99999"}, {"--rate"}, {"stray"}}) {
        const Finished run = runProgram(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        expectOneLine(run.errors);
    }
}

TEST(ProgramErrors, WrongValuesOfTheMotionSourcesNameWhatWouldDo) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{"--motion-udp", "0"}, "1 to 65535"},
        {{"--motion-udp", "65536"}, "65536"},
        {{"--motion-udp", "x"}, "port"},
        {{"--motion-udp-bind", "::1"}, "--motion-udp"},
        {{"--airpods-address", "00:11:22:AA:BB"}, "Bluetooth"},
        {{"--airpods-address", "00:11:22:AA:BB:XX"}, "Bluetooth"},
        {{"--motion-file"}, "--motion-file"}};
    for (const auto& [arguments, mending] : wrong) {
        const Finished run = runProgram(arguments);
        EXPECT_EQ(run.status, 2);
        expectOneLine(run.errors);
        EXPECT_THAT(run.errors, HasSubstr(mending));
    }
}

TEST(ProgramErrors, AMissingFileEndsWithOne) {
    const Finished run = runProgram({"--camera-file", "no/such/file.mp4"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    expectOneLine(run.errors);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("no/such/file.mp4"), HasSubstr("No such file")));
}

TEST(ProgramErrors, AFolderEndsWithOne) {
    const TemporaryFolder folder;
    const Finished run = runProgram({"--camera-file", folder.path()});
    EXPECT_EQ(run.status, 1);
    expectOneLine(run.errors);
}

TEST(ProgramErrors, ATextFileIsNoVideo) {
    const TemporaryFolder folder;
    const Finished run = runProgram({"--camera-file", folder.write("notes.txt", "Not a video.\n")});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.output, AllOf(HasSubstr("❌ Error creating camera input: "),
                                  Not(HasSubstr("Video output added"))));
    EXPECT_THAT(run.errors, HasSubstr("\nvelmaro-cli: ❌ Erreur: "));
}

TEST(ProgramErrors, AnUnknownSourceEndsWithOne) {
    const Finished run = runProgram({"--demo", "--input", "camera_nowhere"});
    EXPECT_EQ(run.status, 1);
    expectOneLine(run.errors);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("camera_nowhere"), HasSubstr("--list-inputs")));
}

TEST(ProgramErrors, ATruncatedModelNamesItsMending) {
    const TemporaryFolder folder;
    const std::filesystem::path models = folder.path() / "models";
    std::filesystem::copy(VELMARO_MODELS, models, std::filesystem::copy_options::recursive);
    std::filesystem::create_directory_symlink(VELMARO_DEMO, folder.path() / "demo");
    const std::filesystem::path model = models / "face_landmark.tflite";
    std::filesystem::resize_file(model, std::filesystem::file_size(model) / 2);
    const Finished run = runProgram({"--demo"}, {{"VELMARO_DATA_DIR", folder.path()}});
    EXPECT_EQ(run.status, 1);
    expectOneLine(run.errors);
    EXPECT_THAT(run.errors, HasSubstr("face_landmark.tflite"));
    EXPECT_THAT(run.errors, HasSubstr("./run"));
}

TEST(ProgramErrors, MissingModelsNameTheirMending) {
    const TemporaryFolder folder;
    std::filesystem::create_directory_symlink(VELMARO_DEMO, folder.path() / "demo");
    const Finished run = runProgram({"--demo"}, {{"VELMARO_DATA_DIR", folder.path()}});
    EXPECT_EQ(run.status, 1);
    expectOneLine(run.errors);
    EXPECT_THAT(run.errors, HasSubstr("./run"));
}

TEST(ProgramErrors, ListInputsPrintsTheSourcesAndNothingElse) {
    const TemporaryFolder folder;
    const std::string notes = folder.write("notes.txt", "x");
    const Finished run = runProgram({"--list-inputs", "--demo", "--camera-file", notes});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output,
                StartsWith("camera_demo\tDemonstration\ncamera_file:" + notes + "\tnotes.txt\n"));
    EXPECT_EQ(run.errors, "");
}

}  // namespace
}  // namespace velmaro::integration

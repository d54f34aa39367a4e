#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "integration/support/Program.h"
#include "integration/support/Receiver.h"
#include "integration/trouble/Motion.h"

namespace velmaro::integration {
namespace {

TEST(SettingsFolder, BelowALinkThatLeadsNowhereTheRestPoseLastsForTheRun) {
    const TemporaryFolder folder;
    const std::filesystem::path config = folder.path() / "config";
    std::filesystem::create_directory_symlink("/nonexistent/disk", config);
    const StillHead head;
    const Receiver receiver;
    Program program(head.sentTo("127.0.0.1", receiver), {{"XDG_CONFIG_HOME", config}});
    ASSERT_TRUE(goesOn(receiver));
    EXPECT_NEAR(receiver.messages().back().values.at(0), 10, 1e-4);
    program.signal(SIGUSR1);
    ASSERT_TRUE(program.waitForErrors(" is a link to /nonexistent/disk, which is not there"));
    ASSERT_TRUE(goesOn(receiver));
    EXPECT_NEAR(receiver.messages().back().values.at(0), 0, 1e-4);
    // Said once.
    program.signal(SIGUSR1);
    ASSERT_TRUE(goesOn(receiver));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    const std::string errors = program.errors();
    EXPECT_EQ(errors.find("cannot be stored"), errors.rfind("cannot be stored")) << errors;
}

}  // namespace
}  // namespace velmaro::integration

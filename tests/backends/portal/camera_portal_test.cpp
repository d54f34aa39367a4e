#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>

#include "MockPortal.h"
#include "backends/portal/CameraPortal.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

using test::MockPortal;
using namespace std::chrono_literals;

constexpr unsigned kGranted = 0;
constexpr unsigned kRefused = 1;
constexpr unsigned kEnded = 2;

std::future<bool> request(CameraPortal& portal) {
    const auto answer = std::make_shared<std::promise<bool>>();
    portal.requestAccess([answer](bool granted) { answer->set_value(granted); });
    return answer->get_future();
}

bool granted(std::future<bool> answer) {
    if (answer.wait_for(20s) != std::future_status::ready) {
        ADD_FAILURE() << "no answer";
        return false;
    }
    return answer.get();
}

bool becomes(const CameraPortal& portal, AuthorizationStatus status) {
    for (int tries = 0; tries < 2000 && portal.status() != status; ++tries) {
        std::this_thread::sleep_for(10ms);
    }
    return portal.status() == status;
}

class CameraPortalTest : public testing::Test {
protected:
    MockPortal desktop;
    fakes::CapturedDiagnostics diagnostics;
};

class CameraPortalWithoutBusTest : public testing::Test {
protected:
    fakes::CapturedDiagnostics diagnostics;
};

TEST_F(CameraPortalWithoutBusTest, GrantsAtOnce) {
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
    CameraPortal portal(diagnostics);
    EXPECT_TRUE(granted(request(portal)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
}

TEST_F(CameraPortalWithoutBusTest, GrantsAtOnceWhereNobodyListens) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    CameraPortal portal(diagnostics);
    EXPECT_TRUE(granted(request(portal)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST_F(CameraPortalTest, GrantsWhereTheBusHasNoPortal) {
    CameraPortal portal(diagnostics);
    EXPECT_TRUE(granted(request(portal)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
}

TEST_F(CameraPortalTest, GrantsWhereThePortalKnowsNoCameras) {
    desktop.appear(MockPortal::Camera::absent);
    CameraPortal portal(diagnostics);
    EXPECT_TRUE(granted(request(portal)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
}

TEST_F(CameraPortalTest, IsUndeterminedUntilThePersonHasAnswered) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    EXPECT_EQ(answer.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(portal.status(), AuthorizationStatus::notDetermined);
    desktop.answer(kGranted);
    EXPECT_TRUE(granted(std::move(answer)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
}

TEST_F(CameraPortalTest, RefusalIsDenial) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.answer(kRefused);
    EXPECT_FALSE(granted(std::move(answer)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::denied);
    EXPECT_THAT(diagnostics.lines(),
                testing::ElementsAre(
                    "the desktop denies access to cameras: allow it in its privacy settings and "
                    "press start again (see docs/cameras.md)"));
}

TEST_F(CameraPortalTest, AnAdministratorsLockIsARestriction) {
    desktop.appear(MockPortal::Camera::locked);
    CameraPortal portal(diagnostics);
    EXPECT_FALSE(granted(request(portal)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::restricted);
    EXPECT_THAT(diagnostics.lines(),
                testing::ElementsAre("this computer's administrator has switched cameras off"));
}

TEST_F(CameraPortalTest, ADialogThatEndsOtherwiseMayBeAskedAgain) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.answer(kEnded);
    EXPECT_FALSE(granted(std::move(answer)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::notDetermined);
    answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.answer(kGranted);
    EXPECT_TRUE(granted(std::move(answer)));
}

TEST_F(CameraPortalTest, APortalThatEndsDuringTheDialogGivesNoAccess) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.vanish();
    EXPECT_FALSE(granted(std::move(answer)));
    EXPECT_EQ(portal.status(), AuthorizationStatus::notDetermined);
}

TEST_F(CameraPortalTest, TwoRequestsShareOneDialog) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto first = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    auto second = request(portal);
    EXPECT_EQ(second.wait_for(100ms), std::future_status::timeout);
    desktop.answer(kGranted);
    EXPECT_TRUE(granted(std::move(first)));
    EXPECT_TRUE(granted(std::move(second)));
}

TEST_F(CameraPortalTest, AnAnswerThatIsChangedInTheSettingsIsAskedForAgain) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.answer(kGranted);
    ASSERT_TRUE(granted(std::move(answer)));
    desktop.tellMemory("devices", "microphone");
    desktop.tellMemory("devices", "camera");
    EXPECT_TRUE(becomes(portal, AuthorizationStatus::notDetermined));
}

TEST_F(CameraPortalTest, AnotherDevicesAnswerChangesNothing) {
    desktop.appear();
    CameraPortal portal(diagnostics);
    auto answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    desktop.answer(kGranted);
    ASSERT_TRUE(granted(std::move(answer)));
    desktop.tellMemory("devices", "microphone");
    // What comes behind it has been read when this is answered.
    answer = request(portal);
    ASSERT_TRUE(desktop.waitForDialog());
    EXPECT_EQ(portal.status(), AuthorizationStatus::authorized);
    desktop.answer(kGranted);
    EXPECT_TRUE(granted(std::move(answer)));
}

TEST_F(CameraPortalTest, TakesItsDialogAwayAtTheEnd) {
    desktop.appear();
    std::future<bool> answer;
    {
        CameraPortal portal(diagnostics);
        answer = request(portal);
        ASSERT_TRUE(desktop.waitForDialog());
    }
    EXPECT_TRUE(desktop.waitForClosing());
    // The completion was dropped without a call.
    EXPECT_THROW(answer.get(), std::future_error);
}

}  // namespace
}  // namespace velmaro

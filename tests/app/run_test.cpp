// One run of either program over scripted doors.

#include "app/Run.h"

#include <filesystem>
#include <map>
#include <utility>

#include "ContentViewFixture.h"
#include "fakes/Diagnostics.h"

namespace velmaro {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

/// Runs nothing by itself: a test cranks the queue.
class CrankedLoop final : public MainLoop {
public:
    explicit CrankedLoop(fakes::HandCrankedQueue& queue) : queue_(queue) {}

    DispatchQueue& queue() override { return queue_; }
    void run() override { whileRunning(); }
    void stop() override { isStopped = true; }
    void close() override {}

    std::function<void()> whileRunning = [] {};
    bool isStopped = false;

private:
    fakes::HandCrankedQueue& queue_;
};

/// What a test and the system that the run owns have in common.
struct Handlers {
    std::function<void()> playbackEnded;
    std::function<void()> recordingFailed;
    std::function<void(Request)> request;
    std::optional<Error> faceLandmarksError;
    std::optional<Error> fileError;
    std::vector<bool> tracking;
    std::map<std::filesystem::path, std::string> files;
};

class ScriptedSystem final : public System {
public:
    ScriptedSystem(const Platform& platform, Handlers& handlers)
        : platform_(platform), handlers_(handlers) {}

    [[nodiscard]] const Platform& doors() const override { return platform_; }
    [[nodiscard]] const std::optional<Error>& faceLandmarksError() const override {
        return handlers_.faceLandmarksError;
    }
    void onPlaybackEnded(std::function<void()> handler) override {
        handlers_.playbackEnded = std::move(handler);
    }
    void onRecordingFailed(std::function<void()> handler) override {
        handlers_.recordingFailed = std::move(handler);
    }
    void onRequest(std::function<void(Request)> handler) override {
        handlers_.request = std::move(handler);
    }
    [[nodiscard]] Log& errorLines() override { return errorLines_; }
    Result<void> replaceFile(const std::filesystem::path& file, std::string_view text) override {
        if (handlers_.fileError) {
            return tl::unexpected(*handlers_.fileError);
        }
        handlers_.files[file] = text;
        return {};
    }
    void setTracking(bool isTracking) override { handlers_.tracking.push_back(isTracking); }
    void shutDown() override {}

private:
    const Platform& platform_;
    Handlers& handlers_;
    fakes::CapturedLog errorLines_;
};

/// Passes on to one that the test keeps.
class PassedOn final : public Diagnostics {
public:
    explicit PassedOn(Diagnostics& kept) : kept_(kept) {}
    void report(const Diagnostic& diagnostic) override { kept_.report(diagnostic); }

private:
    Diagnostics& kept_;
};

class RunTest : public ContentViewTest {
protected:
    void SetUp() override { capture.setLocal({desk}); }

    void make() {
        run = std::make_unique<velmaro::Run>(
            options, loop, std::make_unique<PassedOn>(reported),
            [this](const Options&, DispatchQueue&, Telemetry& counters,
                   Diagnostics&) -> Result<std::unique_ptr<System>> {
                telemetry = &counters;
                if (systemError) {
                    return tl::unexpected(*systemError);
                }
                return std::make_unique<ScriptedSystem>(platform, handlers);
            });
    }

    /// The whole run, in which `inside` happens while the main loop runs.
    ExitStatus runs(const std::function<void()>& inside) {
        make();
        if (const auto over = run->prepare()) {
            return *over;
        }
        loop.whileRunning = [this, inside] {
            runEverything();
            inside();
            runEverything();
        };
        return run->execute();
    }

    void post(const char* name, const char* reason = nullptr) {
        Notification notification{
            name, static_cast<const CaptureSession*>(capture.session.get()), {}};
        if (reason != nullptr) {
            notification.userInfo[kCaptureSessionErrorKey] = CaptureError{{reason, reason}};
        }
        center.post(notification);
    }
    void cameraFails(const char* reason) {
        capture.session->running = false;
        post(kCaptureSessionRuntimeError, reason);
        runEverything();
    }
    void sessionStarts() {
        capture.session->running = true;
        post(kCaptureSessionDidStartRunning);
        runEverything();
    }
    void cameraStarts() {
        sessionStarts();
        post(kCaptureSessionFirstFrame);
        runEverything();
    }
    void passes(double seconds) {
        dispatch.main.advance(seconds);
        runEverything();
    }
    [[nodiscard]] std::ptrdiff_t starts() const {
        return std::ranges::count(capture.trace, "startRunning");
    }

    Options options;
    CrankedLoop loop{dispatch.main};
    Handlers handlers;
    fakes::CapturedDiagnostics reported;
    std::optional<Error> systemError;
    Telemetry* telemetry = nullptr;
    std::unique_ptr<velmaro::Run> run;
};

TEST_F(RunTest, TracksTheFirstSourceUntilItIsAskedToStop) {
    EXPECT_EQ(runs([this] {
                  EXPECT_TRUE(run->view()->isRunning.get());
                  EXPECT_EQ(starts(), 1);
                  telemetry->datagramsOut = 1;
                  handlers.request(Request::stop);
              }),
              ExitStatus::success);
    EXPECT_TRUE(loop.isStopped);
    EXPECT_FALSE(run->view()->isRunning.get());
    EXPECT_THAT(reported.lines(), ElementsAre(HasSubstr("'Desk Camera' to 127.0.0.1")));
}

TEST_F(RunTest, WhatCannotBeHadIsToldAndEndsWithOne) {
    systemError = Error{"the port is taken", "the port is taken"};
    EXPECT_EQ(runs([] {}), ExitStatus::couldNotRun);
    EXPECT_THAT(reported.lines(), ElementsAre("the port is taken"));
}

TEST_F(RunTest, BothProgramsWaitForHeadphonesThatArePromised) {
    options.awaitsHeadphones = options.choosesHeadphones = options.start = true;
    for (const Program program : {Program::terminal, Program::window}) {
        options.program = program;
        headphones.available = false;
        EXPECT_EQ(runs([this] {
                      EXPECT_FALSE(run->view()->isRunning.get());
                      headphones.available = true;
                      headphones.connect();
                      runEverything();
                      EXPECT_TRUE(run->view()->isRunning.get());
                      EXPECT_TRUE(headphones.active);
                      telemetry->datagramsOut = 1;
                      run->end(ExitStatus::success);
                  }),
                  ExitStatus::success);
        EXPECT_THAT(reported.lines(), Contains("waiting for the headphones"));
    }
}

TEST_F(RunTest, ACameraThatIsBackIsStartedAnew) {
    EXPECT_EQ(runs([this] {
                  cameraStarts();
                  cameraFails("the camera was disconnected");
                  EXPECT_EQ(starts(), 1);
                  capture.setLocal({});
                  post(kCaptureDeviceWasDisconnected);
                  runEverything();
                  EXPECT_EQ(starts(), 1);
                  capture.setLocal({desk});
                  post(kCaptureDeviceWasConnected);
                  runEverything();
                  EXPECT_EQ(starts(), 2);
                  cameraStarts();
                  telemetry->datagramsOut = 1;
                  run->end(ExitStatus::success);
              }),
              ExitStatus::success);
    EXPECT_THAT(reported.lines(),
                ElementsAre(HasSubstr("'Desk Camera' to"),
                            "the camera was disconnected: tracking goes on when it is back",
                            "the camera \"Desk Camera\" is back"));
}

TEST_F(RunTest, ACameraThatIsBackBeforeItsFailureIsToldIsStartedAnew) {
    (void)runs([this] {
        cameraStarts();
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 1);
        cameraFails("the camera was disconnected");
        EXPECT_EQ(starts(), 2);
        // Nothing has come since, so that it is not tried again and again.
        cameraFails("the camera was disconnected");
        EXPECT_EQ(starts(), 2);
    });
}

// Different threads tell of a start and of the end that follows it at once.
TEST_F(RunTest, AStartThatIsToldAfterItsEndHoldsUpNoOther) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera was disconnected");
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 2);
        cameraFails("the camera was disconnected");
        post(kCaptureSessionDidStartRunning);
        runEverything();
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 3);
    });
}

TEST_F(RunTest, ADisturbanceIsNoLoss) {
    (void)runs([this] {
        cameraStarts();
        post(kCaptureSessionRuntimeError, "the camera gives no more pictures");
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 1);
    });
    EXPECT_THAT(reported.lines(), testing::SizeIs(1));
}

TEST_F(RunTest, ACameraThatNeverStartsEndsTheTerminalsRun) {
    for (const Program program : {Program::terminal, Program::window}) {
        options.program = program;
        options.start = true;
        loop.isStopped = false;
        (void)runs([this] { cameraFails("the camera is busy"); });
        EXPECT_EQ(loop.isStopped, program == Program::terminal);
        EXPECT_THAT(reported.lines(), Contains("the camera is busy"));
    }
}

// Of a camera that another program reads the kernel says so only when the first picture is due.
TEST_F(RunTest, ACameraThatFailsBeforeItsFirstPictureAndStaysIsGivenUp) {
    EXPECT_EQ(runs([this] {
                  sessionStarts();
                  cameraFails("the camera is busy");
                  dispatch.main.advance(4);
                  runEverything();
                  EXPECT_FALSE(loop.isStopped);
                  dispatch.main.advance(2);
              }),
              ExitStatus::couldNotRun);
    EXPECT_TRUE(loop.isStopped);
    EXPECT_THAT(reported.lines(), Contains("the camera is busy"));
}

TEST_F(RunTest, ACameraThatGavePicturesAndStaysIsTriedEverMoreSeldom) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera is busy");
        std::ptrdiff_t tries = 1;
        for (const double wait : {5, 10, 20, 30, 30, 30}) {
            passes(wait - 0.5);
            EXPECT_EQ(starts(), tries);
            passes(1);
            EXPECT_EQ(starts(), ++tries) << "after " << wait;
            // Whether it starts first makes no difference.
            if (tries % 2 == 0) {
                sessionStarts();
            }
            cameraFails("the camera cannot be opened");
            EXPECT_FALSE(loop.isStopped);
        }
        passes(60);
        cameraStarts();
        passes(600);
        EXPECT_EQ(starts(), tries + 1);
        cameraFails("the camera is busy");
        passes(5);
        EXPECT_EQ(starts(), tries + 2) << "a new loss begins anew";
    });
    EXPECT_THAT(reported.lines(),
                ElementsAre(HasSubstr("'Desk Camera' to"),
                            "the camera is busy: tracking goes on when it is back",
                            "the camera \"Desk Camera\" is back",
                            "the camera is busy: tracking goes on when it is back"));
}

TEST_F(RunTest, ACameraThatGavePicturesAndIsRefusedIsTriedAgain) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera was disconnected");
        capture.inputError = Error{"the camera is not connected", "the camera is not connected"};
        passes(5);
        EXPECT_EQ(starts(), 1);
        capture.inputError.reset();
        capture.status = AuthorizationStatus::denied;
        passes(10);
        EXPECT_EQ(starts(), 1);
        EXPECT_FALSE(loop.isStopped);
        capture.status = AuthorizationStatus::authorized;
        passes(20);
        EXPECT_EQ(starts(), 2);
        cameraStarts();
    });
    EXPECT_THAT(reported.lines(),
                ElementsAre(HasSubstr("'Desk Camera' to"),
                            "the camera was disconnected: tracking goes on when it is back",
                            "the camera \"Desk Camera\" is back"));
}

TEST_F(RunTest, ACameraThatIsPluggedInAnewIsTriedAtOnceButNotWhileItStarts) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera is busy");
        passes(5);
        cameraFails("the camera is busy");
        EXPECT_EQ(starts(), 2);
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 3);
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 3);
        cameraFails("the camera was disconnected");
        EXPECT_EQ(starts(), 4);
        cameraFails("the camera is busy");
        passes(5);
        EXPECT_EQ(starts(), 5) << "the wait begins anew with a new connection";
    });
}

TEST_F(RunTest, AWaitEndsWithTheTryThatCameBefore) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera is busy");
        passes(3);
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 2);
        passes(3);
        EXPECT_EQ(starts(), 2) << "it is starting";
        cameraFails("the camera is busy");
        passes(3);
        post(kCaptureDeviceWasConnected);
        runEverything();
        EXPECT_EQ(starts(), 3);
        cameraFails("the camera is busy");
        passes(3);
        EXPECT_EQ(starts(), 3) << "it failed three seconds ago";
        passes(3);
        EXPECT_EQ(starts(), 4);
    });
}

TEST_F(RunTest, ACameraThatIsChosenInsteadOfALostOneIsNotBack) {
    capture.setLocal({desk, wall});
    options.program = Program::window;
    options.start = true;
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera is busy");
        run->view()->select("camera_wall");
        runEverything();
        cameraStarts();
        passes(60);
        EXPECT_EQ(starts(), 2);
    });
    EXPECT_THAT(reported.lines(),
                ElementsAre("the camera is busy: tracking goes on when it is back"));
}

TEST_F(RunTest, ALostCameraIsNotTriedWhileNobodyWantsIt) {
    options.program = Program::window;
    options.start = true;
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera is busy");
        EXPECT_TRUE(run->view()->isRunning.get());
        run->view()->toggleTracking();
        passes(60);
        EXPECT_EQ(starts(), 1);
        run->view()->toggleTracking();
        runEverything();
        EXPECT_EQ(starts(), 2);
    });
}

TEST_F(RunTest, AnotherCameraThatNeverGaveAPictureIsGivenUpAfterOneThatDid) {
    capture.setLocal({desk, wall});
    options.program = Program::window;
    options.start = true;
    (void)runs([this] {
        cameraStarts();
        run->view()->select("camera_wall");
        runEverything();
        cameraFails("the camera is busy");
        EXPECT_EQ(starts(), 2);
        passes(60);
        EXPECT_EQ(starts(), 2);
    });
    EXPECT_THAT(
        reported.lines(),
        ElementsAre("the camera is busy: tracking goes on when it is back", "the camera is busy"));
}

TEST_F(RunTest, TimeThatPassesWhileTheCameraIsLostEndsWithOne) {
    options.duration = 60;
    EXPECT_EQ(runs([this] {
                  cameraStarts();
                  telemetry->datagramsOut = 1;
                  cameraFails("the camera is busy");
                  passes(60);
              }),
              ExitStatus::couldNotRun);
}

TEST_F(RunTest, ACameraThatFailedAndWentIsWaitedFor) {
    (void)runs([this] {
        cameraStarts();
        cameraFails("the camera was disconnected");
        capture.setLocal({});
        post(kCaptureDeviceWasDisconnected);
        runEverything();
        dispatch.main.advance(60);
        runEverything();
        EXPECT_FALSE(loop.isStopped);
    });
}

TEST_F(RunTest, AFileThatEndsEarlyEndsWithOne) {
    capture.setLocal({fakes::makeDevice("file:a.webm", "a.webm")});
    EXPECT_EQ(runs([this] {
                  cameraStarts();
                  telemetry->datagramsOut = 5;
                  cameraFails("it is damaged");
              }),
              ExitStatus::couldNotRun);
    EXPECT_TRUE(loop.isStopped);
    EXPECT_THAT(reported.lines(), Contains("'a.webm' ended early: it is damaged"));
}

TEST_F(RunTest, ARefusedCameraEndsWithOne) {
    capture.inputError = Error{"no such file", "no such file"};
    EXPECT_EQ(runs([] {}), ExitStatus::couldNotRun);
    EXPECT_TRUE(loop.isStopped);
    EXPECT_THAT(reported.lines(), Contains("❌ Erreur: no such file"));
}

TEST_F(RunTest, ADeniedCameraEndsWithOne) {
    capture.status = AuthorizationStatus::denied;
    EXPECT_EQ(runs([] {}), ExitStatus::couldNotRun);
    EXPECT_THAT(reported.lines(), Contains("Camera access denied - check System Preferences"));
}

TEST_F(RunTest, ASessionThatStartsAfterTheStopIsStopped) {
    options.program = Program::window;
    capture.status = AuthorizationStatus::notDetermined;
    (void)runs([this] {
        run->view()->toggleTracking();
        run->view()->toggleTracking();
        capture.pendingRequest(true);
        runEverything();
        EXPECT_TRUE(capture.session->running);
        cameraStarts();
        EXPECT_FALSE(capture.session->running);
    });
}

TEST_F(RunTest, TimeThatPassesWithoutDataEndsWithOne) {
    options.duration = 1;
    EXPECT_EQ(runs([this] { dispatch.main.advance(2); }), ExitStatus::couldNotRun);
    EXPECT_THAT(reported.lines(), Contains("nothing was sent: the source gave no data"));
}

TEST_F(RunTest, TimeThatPassesWithDataEndsWithZero) {
    options.duration = 1;
    EXPECT_EQ(runs([this] {
                  telemetry->datagramsOut = 1;
                  dispatch.main.advance(2);
              }),
              ExitStatus::success);
    EXPECT_TRUE(loop.isStopped);
}

TEST_F(RunTest, WhatIsReportedIsKeptForTheWindow) {
    options.program = Program::window;
    (void)runs([this] { run->diagnostics().report({.text = "one"}); });
    ASSERT_THAT(run->diagnostics().reported.get(), testing::SizeIs(1));
    EXPECT_EQ(run->diagnostics().reported.get().front().text, "one");
}

TEST_F(RunTest, TellsTheSystemWhenTrackingBeginsAndEnds) {
    (void)runs([this] {
        EXPECT_THAT(handlers.tracking, ElementsAre(false, true));
        handlers.request(Request::stop);
        runEverything();
        EXPECT_THAT(handlers.tracking, ElementsAre(false, true, false));
    });
}

TEST_F(RunTest, KeepsTheSettingsInTheFile) {
    options.configuration = "folder/velmaro.toml";
    options.port = "9001";
    options.save = true;
    (void)runs([] {});
    EXPECT_THAT(handlers.files[options.configuration], HasSubstr("\nport = 9001\n"));
    EXPECT_THAT(reported.lines(), Contains("the settings are kept in folder/velmaro.toml"));
}

TEST_F(RunTest, SettingsThatCannotBeKeptEndTheTerminalOnly) {
    options.configuration = "folder/velmaro.toml";
    options.save = true;
    handlers.fileError = Error{"Permission denied", "Permission denied"};
    EXPECT_EQ(runs([] { FAIL() << "must not run"; }), ExitStatus::couldNotRun);
    EXPECT_THAT(reported.lines(),
                Contains(HasSubstr("cannot be kept in folder/velmaro.toml (Permission denied)")));
    options.program = Program::window;
    bool hasRun = false;
    (void)runs([&hasRun] { hasRun = true; });
    EXPECT_TRUE(hasRun);
}

TEST_F(RunTest, WhatIsWrongInTheFileIsSaidInTheWindow) {
    options.program = Program::window;
    options.configurationError = "velmaro.toml: port: 'x' is no port";
    (void)runs([] {});
    ASSERT_FALSE(run->diagnostics().reported.get().empty());
    EXPECT_EQ(run->diagnostics().reported.get().front().subject, Diagnostic::Subject::settings);
    EXPECT_EQ(run->diagnostics().reported.get().front().line(),
              "velmaro.toml: port: 'x' is no port: mend it; until then the defaults hold");
}

TEST_F(RunTest, AKeptSourceThatIsAwayLeavesTheWindowTheFirst) {
    options.program = Program::window;
    options.input = "camera_away";
    options.isInputKept = true;
    (void)runs([this] { EXPECT_EQ(run->view()->selectedInputId.get(), "camera_desk"); });
    EXPECT_THAT(reported.lines(), Contains(HasSubstr("'camera_away', is not there")));
    options.program = Program::terminal;
    EXPECT_EQ(runs([] {}), ExitStatus::couldNotRun);
}

TEST_F(RunTest, ForgetsTheStoredPoseBeforeItIsRead) {
    defaults.values["headphoneCalibration"] =
        R"({"calibrationW":1,"calibrationX":0,"calibrationY":0,"calibrationZ":0,)"
        R"("idleW":0,"idleX":0,"idleY":0,"idleZ":1})";
    options.program = Program::window;
    const auto w = [this] { return run->view()->headphoneManager->calibration.idleQuaternion.w; };
    (void)runs([this, &w] {
        EXPECT_EQ(w(), 0);
        // By the window's menu it counts from the next start on.
        EXPECT_TRUE(run->forgetPose());
        EXPECT_EQ(w(), 0);
    });
    EXPECT_THAT(reported.lines(), Contains("the stored pose of the headphones is forgotten: the "
                                           "next start begins without it"));
    EXPECT_EQ(defaults.data("headphoneCalibration"), "");

    defaults.values["headphoneCalibration"] = "{}";
    options.forgetsPose = true;
    defaults.writable = false;
    options.program = Program::terminal;
    EXPECT_EQ(runs([] {}), ExitStatus::couldNotRun);
    defaults.writable = true;
    (void)runs([&w] { EXPECT_EQ(w(), 1); });
    EXPECT_THAT(reported.lines(), Contains("the stored pose of the headphones is forgotten"));
}

}  // namespace
}  // namespace velmaro

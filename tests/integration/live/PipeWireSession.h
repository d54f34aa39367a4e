#pragma once

#include <cstdio>
#include <string>

#include "integration/support/Program.h"

namespace velmaro::integration {

/// A PipeWire session of this test's own, with virtual cameras.
class PipeWireSession {
public:
    /// Empty if a session can be had, else what is missing.
    static std::string missing();

    PipeWireSession();
    ~PipeWireSession();
    PipeWireSession(const PipeWireSession&) = delete;
    PipeWireSession& operator=(const PipeWireSession&) = delete;

    /// True once the session runs.
    [[nodiscard]] bool isReady() { return answered(); }
    /// Each of these is done when it returns; false if it took too long.
    bool plugIn(const std::string& name, const std::string& format = "YUY2",
                const std::string& source = kTestPicture);
    bool unplug(const std::string& name) { return command("unplug " + name); }
    bool freeze(const std::string& name) { return command("freeze " + name); }
    bool thaw(const std::string& name) { return command("thaw " + name); }
    bool hang() { return command("hang"); }
    bool resume() { return command("resume"); }
    bool killDaemons() { return command("kill"); }
    bool startDaemons() { return command("start"); }

    /// What lets a program find this session.
    [[nodiscard]] Program::Environment environment() const;
    [[nodiscard]] std::string folder() const { return folder_.path(); }

    /// A face that is turned to one side, for as long as the camera runs. A file is no live source,
    /// as a camera is one, but a picture can be held as one.
    static constexpr const char* kFace =
        "filesrc location=" VELMARO_STILL
        " ! pngdec ! imagefreeze is-live=true ! video/x-raw,framerate=30/1";
    static constexpr const char* kTestPicture =
        "videotestsrc is-live=true ! video/x-raw,width=640,height=480,framerate=30/1";

private:
    bool command(const std::string& line);
    bool answered();

    TemporaryFolder folder_;
    std::FILE* commands_;
    int answers_ = 0;
};

}  // namespace velmaro::integration

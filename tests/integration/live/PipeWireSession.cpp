#include "PipeWireSession.h"

#include <chrono>
#include <cstdlib>
#include <thread>

namespace velmaro::integration {

std::string PipeWireSession::missing() {
    for (const char* program : {"pipewire", "wireplumber", "pw-cli", "dbus-run-session"}) {
        const std::string look = "command -v " + std::string(program) + " > /dev/null";
        if (std::system(look.c_str()) != 0) {
            return program;
        }
    }
    return "";
}

PipeWireSession::PipeWireSession()
    : commands_(::popen(
          (VELMARO_PIPEWIRE_SESSION " '" + folder() + "' '" VELMARO_VIRTUAL_CAMERA "' 2>/dev/null")
              .c_str(),
          "we")) {}

PipeWireSession::~PipeWireSession() {
    ::pclose(commands_);
}

bool PipeWireSession::plugIn(const std::string& name, const std::string& format,
                             const std::string& source) {
    return command("camera " + name + " " + format + " " + source);
}

Program::Environment PipeWireSession::environment() const {
    return {{"XDG_RUNTIME_DIR", folder()},
            {"PIPEWIRE_RUNTIME_DIR", folder()},
            {"PIPEWIRE_REMOTE", "pipewire-0"}};
}

bool PipeWireSession::command(const std::string& line) {
    std::fputs((line + "\n").c_str(), commands_);
    std::fflush(commands_);
    return answered();
}

bool PipeWireSession::answered() {
    const auto answer = folder_.path() / ("done." + std::to_string(answers_++));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (!std::filesystem::exists(answer)) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace velmaro::integration

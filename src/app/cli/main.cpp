#include "app/CommandLine.h"
#include "app/Run.h"
#include "app/linux/LinuxPlatform.h"
#include "app/linux/MotionSources.h"
#include "app/linux/Process.h"

int main(int argc, char** argv) {
    using namespace velmaro;
    prepareProcess();
    const auto options =
        parseCommandLine(Program::terminal, motionSourceOptions(), argc, argv, configurationFile());
    if (!options) {
        return static_cast<int>(options.error());
    }
    const auto mainLoop = makeMainLoop();
    Run run(*options, *mainLoop, makeDiagnostics(Program::terminal), makeLinuxPlatform);
    const auto over = run.prepare();
    return static_cast<int>(over ? *over : run.execute());
}

#include "app/CommandLine.h"
#include "app/linux/LinuxPlatform.h"
#include "app/linux/MotionSources.h"
#include "app/linux/Process.h"
#include "app/window/VelmaroApp.h"

int main(int argc, char** argv) {
    using namespace velmaro;
    prepareProcess();
    const auto options =
        parseCommandLine(Program::window, motionSourceOptions(), argc, argv, configurationFile());
    return static_cast<int>(options ? VelmaroApp(*options, argv[0]).run() : options.error());
}

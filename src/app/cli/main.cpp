#include "app/CommandLine.h"
#include "app/cli/Session.h"
#include "app/linux/MotionSources.h"

int main(int argc, char** argv) {
    using namespace velmaro;
    const auto options = parseCommandLine(Program::terminal, motionSourceOptions(), argc, argv);
    return static_cast<int>(options ? Session(*options).run() : options.error());
}

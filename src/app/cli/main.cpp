#include <variant>

#include "app/CommandLine.h"
#include "app/cli/Session.h"

int main(int argc, char** argv) {
    using namespace velmaro;
    const auto parsed = parseCommandLine(Program::terminal, argc, argv);
    if (const auto* status = std::get_if<ExitStatus>(&parsed)) {
        return static_cast<int>(*status);
    }
    return static_cast<int>(Session(std::get<Options>(parsed)).run());
}

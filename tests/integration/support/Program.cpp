#include "integration/support/Program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace velmaro::integration {
namespace {

std::string read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "velmaro.XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return path_ / name;
}

Program::Program(const std::vector<std::string>& arguments, const Environment& variables,
                 Streams streams, const ProgramStart& start) {
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (pid_ > 0) {
        return;
    }
    const auto redirect = [this](const char* name, int stream, int descriptor) {
        const int file = stream >= 0 ? stream
                                     : ::open((folder_.path() / name).c_str(),
                                              O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(file, descriptor);
    };
    redirect("output", streams.output, STDOUT_FILENO);
    redirect("errors", streams.errors, STDERR_FILENO);
    ::setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1);
    for (const auto& [name, value] : variables) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    // A receiver's socket must not live on in the child.
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    std::vector<char*> pointers;
    std::string name = start.path.empty() ? VELMARO_PROGRAM : start.path;
    pointers.push_back(name.data());
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    if (start.prepare) {
        start.prepare();
    }
    ::execv(name.c_str(), pointers.data());
    ::_exit(127);
}

Program::~Program() {
    if (!ended_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void Program::signal(int number) const {
    ::kill(pid_, number);
}

int Program::wait(std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!ended_) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            ended_ = true;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        } else if (std::chrono::steady_clock::now() > deadline) {
            return -1000;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    return status_;
}

std::string Program::output() const {
    return read(folder_.path() / "output");
}
std::string Program::errors() const {
    return read(folder_.path() / "errors");
}

std::set<std::string> Program::threadNames() const {
    std::set<std::string> names;
    std::error_code gone;
    const auto tasks = std::filesystem::path("/proc") / std::to_string(pid_) / "task";
    for (std::filesystem::directory_iterator task(tasks, gone);
         !gone && task != std::filesystem::directory_iterator(); task.increment(gone)) {
        // A thread may end between its being seen and its being read.
        std::ifstream comm(task->path() / "comm");
        if (std::string name; std::getline(comm, name)) {
            names.insert(name);
        }
    }
    return names;
}

std::vector<std::string> Program::outputLines() const {
    std::istringstream stream(output());
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool Program::waitForOutput(const std::string& text) {
    return waitFor([&] { return output().find(text) != std::string::npos; });
}

bool Program::waitForErrors(const std::string& text) {
    return waitFor([&] { return errors().find(text) != std::string::npos; });
}

bool Program::waitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (wait(std::chrono::milliseconds(10)) != -1000 ||
            std::chrono::steady_clock::now() > deadline) {
            return condition();
        }
    }
    return true;
}

Finished runProgram(const std::vector<std::string>& arguments,
                    const Program::Environment& variables) {
    Program program(arguments, variables);
    const int status = program.wait();
    return {status, program.output(), program.errors()};
}

}  // namespace velmaro::integration

#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace velmaro::integration {

/// An empty folder that goes when this does.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Writes a file into it and returns its path.
    [[nodiscard]] std::string write(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path path_;
};

/// What may differ from an ordinary start.
struct ProgramStart {
    /// The other program, with a window, if given.
    std::string path = {};
    /// Called in the new process just before the program takes it over.
    std::function<void()> prepare = {};
};

/// The built program without a window, in a process of its own with a settings folder of its own.
class Program {
public:
    using Environment = std::map<std::string, std::string>;

    /// Open files that take the place of those whose content `output` and `errors` give.
    struct Streams {
        int output = -1;
        int errors = -1;
    };

    /// Starts it. Variables are added to this process's.
    explicit Program(const std::vector<std::string>& arguments, const Environment& variables = {},
                     Streams streams = {-1, -1}, const ProgramStart& start = {});
    /// Kills it if it still runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void signal(int number) const;

    /// Waits for the end and returns the exit status, minus the signal's number if one ended it, or
    /// -1000 if it was still running after `timeout`.
    int wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));

    /// What it has written so far.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;
    [[nodiscard]] std::vector<std::string> outputLines() const;

    /// Waits until the standard output holds `text`; false at its end, or after a
    /// minute, which only ends a test that fails.
    [[nodiscard]] bool waitForOutput(const std::string& text);
    /// The same for the standard error.
    [[nodiscard]] bool waitForErrors(const std::string& text);

    [[nodiscard]] pid_t pid() const { return pid_; }
    /// What its threads are called, sorted; equal names once.
    [[nodiscard]] std::set<std::string> threadNames() const;

private:
    bool waitFor(const std::function<bool()>& condition);

    TemporaryFolder folder_;
    pid_t pid_ = -1;
    int status_ = 0;
    bool ended_ = false;
};

/// Starts it, waits and returns the status; for what ends by itself.
struct Finished {
    int status = 0;
    std::string output;
    std::string errors;
};
Finished runProgram(const std::vector<std::string>& arguments,
                    const Program::Environment& variables = {});

}  // namespace velmaro::integration

#pragma once

namespace velmaro {

/// While it lives the system has no thread to give to anybody in this process.
class ThreadShortage {
public:
    ThreadShortage();
    ~ThreadShortage();
    ThreadShortage(const ThreadShortage&) = delete;
    ThreadShortage& operator=(const ThreadShortage&) = delete;
};

}  // namespace velmaro

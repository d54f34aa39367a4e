#pragma once

#include <sys/types.h>

#include <string>

namespace velmaro {

/// A D-Bus daemon of the test's own, with nobody on it. It ends with this.
class PrivateBus {
public:
    /// Throws std::runtime_error if it does not come up.
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const std::string& address() const { return address_; }
    /// As when the daemon crashes.
    void kill();

private:
    pid_t pid_ = -1;
    std::string address_;
};

}  // namespace velmaro

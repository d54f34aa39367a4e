#include "integration/guest/BluetoothControllers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "integration/guest/Guest.h"

namespace velmaro::integration {
namespace {

// The kernel's interface to the management of controllers, as BlueZ's "Bluetooth Management API"
// describes it.

constexpr int kHostInterface = 1;
constexpr std::uint16_t kNoController = 0xFFFF;
constexpr std::uint16_t kManagementChannel = 3;

constexpr std::uint16_t kReadControllers = 0x0003;
constexpr std::uint16_t kReadInformation = 0x0004;
constexpr std::uint16_t kSetPowered = 0x0005;
constexpr std::uint16_t kSetConnectable = 0x0007;
constexpr std::uint16_t kSetBondable = 0x0009;
constexpr std::uint16_t kSetSimplePairing = 0x000B;
constexpr std::uint16_t kSetCapability = 0x0018;
constexpr std::uint8_t kNoInputNoOutput = 3;
constexpr std::uint16_t kCommandComplete = 0x0001;
constexpr std::uint16_t kCommandStatus = 0x0002;

struct HostAddress {
    std::uint16_t family;
    std::uint16_t controller;
    std::uint16_t channel;
};

std::uint8_t low(std::uint16_t value) {
    return static_cast<std::uint8_t>(value);
}
std::uint8_t high(std::uint16_t value) {
    return static_cast<std::uint8_t>(value >> 8);
}

pid_t startEmulator() {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int nowhere = ::open("/dev/null", O_RDWR);
        ::dup2(nowhere, STDOUT_FILENO);
        ::dup2(nowhere, STDERR_FILENO);
        ::execlp("btvirt", "btvirt", "-B", "-l2", nullptr);
        ::_exit(127);
    }
    return pid;
}

}  // namespace

BluetoothControllers::BluetoothControllers()
    : emulator_(startEmulator()),
      management_(::socket(AF_BLUETOOTH, SOCK_RAW | SOCK_CLOEXEC, kHostInterface)) {
    const HostAddress name{AF_BLUETOOTH, kNoController, kManagementChannel};
    if (::bind(management_.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0) {
        throw std::runtime_error("the kernel has no Bluetooth");
    }
    if (!eventually([this] { return command(kReadControllers, kNoController, {}).at(0) == 2; })) {
        throw std::runtime_error("there are no virtual Bluetooth controllers");
    }
    setUp(0);
    setUp(1);
    const auto information = command(kReadInformation, 1, {});
    std::copy_n(information.begin(), second_.size(), second_.begin());
}

BluetoothControllers::~BluetoothControllers() {
    ::kill(emulator_, SIGTERM);
    ::waitpid(emulator_, nullptr, 0);
}

void BluetoothControllers::setUp(std::uint16_t controller) {
    // Only a controller whose information was read counts as managed.
    command(kReadInformation, controller, {});
    command(kSetSimplePairing, controller, {1});
    command(kSetCapability, controller, {kNoInputNoOutput});
    command(kSetBondable, controller, {1});
    command(kSetPowered, controller, {1});
    command(kSetConnectable, controller, {1});
}

std::vector<std::uint8_t> BluetoothControllers::command(
    std::uint16_t code, std::uint16_t controller, const std::vector<std::uint8_t>& parameters) {
    std::vector<std::uint8_t> bytes{low(code),
                                    high(code),
                                    low(controller),
                                    high(controller),
                                    low(static_cast<std::uint16_t>(parameters.size())),
                                    0};
    bytes.insert(bytes.end(), parameters.begin(), parameters.end());
    if (::write(management_.get(), bytes.data(), bytes.size()) !=
        static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the kernel takes no command for Bluetooth");
    }
    for (;;) {
        pollfd file{management_.get(), POLLIN, 0};
        if (::poll(&file, 1, 10'000) != 1) {
            throw std::runtime_error("no answer to Bluetooth command " + std::to_string(code));
        }
        // An event's code, controller and size; of an answer then the command's code and the
        // status.
        std::vector<std::uint8_t> event(1024);
        const ssize_t size = ::read(management_.get(), event.data(), event.size());
        const int kind = event[0] | event[1] << 8;
        if (size < 9 || (kind != kCommandComplete && kind != kCommandStatus) ||
            (event[6] | event[7] << 8) != code) {
            continue;
        }
        if (event[8] != 0) {
            throw std::runtime_error("Bluetooth command " + std::to_string(code) +
                                     " failed with status " + std::to_string(event[8]));
        }
        return {event.begin() + 9, event.begin() + size};
    }
}

std::string text(const BluetoothAddress& address) {
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", address[5], address[4],
                  address[3], address[2], address[1], address[0]);
    return text.data();
}

}  // namespace velmaro::integration

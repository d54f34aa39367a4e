#pragma once

#include <optional>

#include "backends/airpods/BluetoothChannel.h"

namespace velmaro {

struct AirPodsFinding {
    /// False until the first look around is over.
    bool isComplete = false;
    /// Of the AirPods to speak to, if there are any.
    std::optional<BluetoothAddress> address;
};

/// Tells which AirPods to speak to. Made anywhere and then used on the thread of their driver.
class AirPodsFinder {
public:
    virtual ~AirPodsFinder() = default;

    /// Readable from a change until it is taken; below 0 if nothing ever changes.
    [[nodiscard]] virtual int descriptor() const = 0;

    /// What is known now. Takes the changes that `descriptor` tells of.
    virtual AirPodsFinding find() = 0;
};

/// The AirPods at an address that somebody gave.
class GivenAirPods final : public AirPodsFinder {
public:
    explicit GivenAirPods(const BluetoothAddress& address) : address_(address) {}

    [[nodiscard]] int descriptor() const override { return -1; }
    AirPodsFinding find() override { return {.isComplete = true, .address = address_}; }

private:
    BluetoothAddress address_;
};

}  // namespace velmaro

#pragma once

#include <map>
#include <memory>
#include <string>

namespace velmaro {

/// What BlueZ says of a device.
struct FakeDevice {
    std::string address = "00:11:22:AA:BB:CC";
    std::string modalias = "bluetooth:v004Cp2014d0100";
    bool isPaired = true;
    bool isConnected = true;
};

/// Stands in for BlueZ on a bus: the tree of its devices and the signals of their changes. It is on
/// the bus from its making to its end.
class FakeBlueZ {
public:
    using Devices = std::map<std::string, FakeDevice>;

    /// `devices` by their object paths. Throws std::runtime_error if the bus does not have it.
    explicit FakeBlueZ(const std::string& busAddress, const Devices& devices = {});
    ~FakeBlueZ();
    FakeBlueZ(const FakeBlueZ&) = delete;
    FakeBlueZ& operator=(const FakeBlueZ&) = delete;

    /// A device comes, or becomes what `device` says.
    void set(const std::string& path, const FakeDevice& device);
    void remove(const std::string& path);
    /// A change that matters to nobody here, as BlueZ tells of them while it scans.
    void tellOfSignalStrength(const std::string& path);
    /// How often it was asked for its devices.
    [[nodiscard]] int questions() const;

private:
    class Service;
    std::unique_ptr<Service> service_;
};

}  // namespace velmaro

#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "backends/cameras/CameraDescription.h"
#include "backends/gstreamer/Handles.h"

namespace velmaro::cameras {

/// How the list of cameras changed.
enum class CameraChange { none, connected, disconnected };

/// A pipeline's interest in the device that it reads. Ends with the object.
struct DeviceUse {
    std::function<void()> lost;
};

/// The live cameras that are there now, each once, in the order in which they came. A camera may
/// stand behind several devices for a moment, such as when it is plugged in again. Of several
/// cameras with the same lasting name the second is called NAME.2, and so on. Any thread.
class CameraRegistry {
public:
    /// A device that is no camera, or is known already, changes nothing.
    CameraChange add(GstDevice* device);
    /// Tells whoever uses the device.
    CameraChange remove(GstDevice* device);
    /// The same device with other properties. Its users go on.
    void replace(GstDevice* old, GstDevice* now);
    /// All devices are gone; their users are told. What is added from now on was announced before,
    /// and is left out until `open`.
    CameraChange removeAll();
    /// The devices are listed anew.
    void open();
    /// All devices are gone, but whoever reads one may go on.
    CameraChange forgetAll();

    [[nodiscard]] std::vector<CameraDescription> cameras() const;
    /// Null if the camera is not there.
    [[nodiscard]] gstreamer::DeviceHandle find(const std::string& uniqueID) const;
    /// Calls `lost` on the thread that removes the device. Null if it has gone already.
    [[nodiscard]] std::shared_ptr<DeviceUse> use(GstDevice* device, std::function<void()> lost);

private:
    struct Entry {
        std::string lastingName;
        std::string serial;
        CameraDescription camera;
        gstreamer::DeviceHandle device;
        std::vector<std::weak_ptr<DeviceUse>> uses;
    };

    /// The lasting name under which a new device is listed.
    [[nodiscard]] std::string nameFor(const std::string& lastingName,
                                      const std::string& serial) const;
    [[nodiscard]] bool lists(const std::string& uniqueID) const;

    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    bool isOpen_ = true;
};

}  // namespace velmaro::cameras

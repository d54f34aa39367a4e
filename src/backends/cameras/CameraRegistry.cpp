#include "backends/cameras/CameraRegistry.h"

#include <algorithm>
#include <utility>

namespace velmaro::cameras {

namespace {

gstreamer::DeviceHandle hold(GstDevice* device) {
    return gstreamer::DeviceHandle(GST_DEVICE(gst_object_ref(device)));
}

void tell(const std::vector<std::weak_ptr<DeviceUse>>& uses) {
    for (const auto& known : uses) {
        if (const auto use = known.lock()) {
            use->lost();
        }
    }
}

}  // namespace

CameraChange CameraRegistry::add(GstDevice* device) {
    auto camera = describeCamera(device);
    if (!camera) {
        return CameraChange::none;
    }
    const std::lock_guard lock(mutex_);
    if (!isOpen_ ||
        std::ranges::any_of(entries_, [&](const Entry& e) { return e.device.get() == device; })) {
        return CameraChange::none;
    }
    std::string lastingName = camera->uniqueID;
    std::string serial = serialNumber(device);
    camera->uniqueID = nameFor(lastingName, serial);
    const bool known = lists(camera->uniqueID);
    entries_.push_back(
        {std::move(lastingName), std::move(serial), *std::move(camera), hold(device), {}});
    return known ? CameraChange::none : CameraChange::connected;
}

CameraChange CameraRegistry::remove(GstDevice* device) {
    Entry gone;
    bool remains = false;
    {
        const std::lock_guard lock(mutex_);
        const auto entry = std::ranges::find_if(
            entries_, [&](const Entry& known) { return known.device.get() == device; });
        if (entry == entries_.end()) {
            return CameraChange::none;
        }
        gone = std::move(*entry);
        entries_.erase(entry);
        remains = lists(gone.camera.uniqueID);
    }
    tell(gone.uses);
    return remains ? CameraChange::none : CameraChange::disconnected;
}

void CameraRegistry::replace(GstDevice* old, GstDevice* now) {
    const auto camera = describeCamera(now);
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_) {
        if (entry.device.get() == old) {
            entry.device = hold(now);
            if (camera) {
                entry.camera.localizedName = camera->localizedName;
            }
        }
    }
}

CameraChange CameraRegistry::removeAll() {
    std::vector<Entry> gone;
    {
        const std::lock_guard lock(mutex_);
        gone.swap(entries_);
        isOpen_ = false;
    }
    for (const Entry& entry : gone) {
        tell(entry.uses);
    }
    return gone.empty() ? CameraChange::none : CameraChange::disconnected;
}

void CameraRegistry::open() {
    const std::lock_guard lock(mutex_);
    isOpen_ = true;
}

CameraChange CameraRegistry::forgetAll() {
    const std::lock_guard lock(mutex_);
    const bool had = !entries_.empty();
    entries_.clear();
    return had ? CameraChange::disconnected : CameraChange::none;
}

std::vector<CameraDescription> CameraRegistry::cameras() const {
    const std::lock_guard lock(mutex_);
    std::vector<CameraDescription> cameras;
    for (const Entry& entry : entries_) {
        if (std::ranges::none_of(cameras, [&](const CameraDescription& camera) {
                return camera.uniqueID == entry.camera.uniqueID;
            })) {
            cameras.push_back(entry.camera);
        }
    }
    return cameras;
}

gstreamer::DeviceHandle CameraRegistry::find(const std::string& uniqueID) const {
    const std::lock_guard lock(mutex_);
    // The newest: an older one of the same camera is about to be removed.
    for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
        if (entry->camera.uniqueID == uniqueID) {
            return hold(entry->device.get());
        }
    }
    return nullptr;
}

std::shared_ptr<DeviceUse> CameraRegistry::use(GstDevice* device, std::function<void()> lost) {
    const std::lock_guard lock(mutex_);
    for (Entry& entry : entries_) {
        if (entry.device.get() == device) {
            auto use = std::make_shared<DeviceUse>(DeviceUse{std::move(lost)});
            std::erase_if(entry.uses, [](const auto& known) { return known.expired(); });
            entry.uses.push_back(use);
            return use;
        }
    }
    return nullptr;
}

std::string CameraRegistry::nameFor(const std::string& lastingName,
                                    const std::string& serial) const {
    const auto same = std::ranges::find_if(entries_, [&](const Entry& entry) {
        return entry.lastingName == lastingName &&
               (entry.serial == serial || entry.serial.empty() || serial.empty());
    });
    if (same != entries_.end()) {
        return same->camera.uniqueID;
    }
    std::string name = lastingName;
    for (int number = 2; lists(name); ++number) {
        name = lastingName + "." + std::to_string(number);
    }
    return name;
}

bool CameraRegistry::lists(const std::string& uniqueID) const {
    return std::ranges::any_of(
        entries_, [&](const Entry& entry) { return entry.camera.uniqueID == uniqueID; });
}

}  // namespace velmaro::cameras

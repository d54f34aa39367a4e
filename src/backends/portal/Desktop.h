#pragma once

#include <functional>
#include <memory>

namespace velmaro {

class GlobalShortcuts;
class IdleInhibitor;

/// What a key that works wherever the focus is asks for.
enum class ShortcutAction { setOffset, resetOffset };

/// What the desktop does for a program that tracks. Where it does not, or the system has no thread
/// to spare for it, nothing happens. Main thread.
class Desktop {
public:
    struct Settings {
        /// The desktop may take the person for absent.
        bool allowsIdle = false;
        /// Called for each key, on a thread of its own; empty if no keys are wanted.
        std::function<void(ShortcutAction)> onShortcut = {};
    };

    explicit Desktop(Settings settings);
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;
    /// Takes back what it has asked for.
    ~Desktop();

    /// Keeps the desktop from idling while tracking, and asks for keys the first time, since that
    /// may ask the person which they shall be. Returns at once.
    void setTracking(bool isTracking);

private:
    void begin();

    const Settings settings_;
    std::unique_ptr<IdleInhibitor> idle_;
    std::unique_ptr<GlobalShortcuts> shortcuts_;
};

}  // namespace velmaro

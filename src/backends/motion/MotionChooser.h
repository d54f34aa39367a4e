#pragma once

#include <memory>
#include <vector>

#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Several sources that pass for one pair of headphones. A start takes the first that is available,
/// in the order given, and stays with it while it is; when it goes, the first that is left or the
/// first that comes takes over. The delegate hears when the first source comes and the last one
/// goes, on the thread of that source. Without sources they are headphones that never come.
class MotionChooser final : public HeadphoneMotion {
public:
    /// The sources may be used on any thread.
    explicit MotionChooser(std::vector<std::unique_ptr<HeadphoneMotion>> sources);
    ~MotionChooser() override;
    MotionChooser(const MotionChooser&) = delete;
    MotionChooser& operator=(const MotionChooser&) = delete;

    void setDelegate(std::weak_ptr<HeadphoneMotionDelegate> delegate) override;
    [[nodiscard]] bool isDeviceMotionAvailable() const override;
    [[nodiscard]] bool isDeviceMotionActive() const override;
    void startDeviceMotionUpdates(DispatchQueue& queue, Handler handler) override;
    void stopDeviceMotionUpdates() override;

private:
    class Choice;

    /// Held by the sources too, for as long as one of them notifies of a change.
    const std::shared_ptr<Choice> choice_;
    std::vector<std::unique_ptr<HeadphoneMotion>> sources_;
};

}  // namespace velmaro

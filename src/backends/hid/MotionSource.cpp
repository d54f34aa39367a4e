#include "backends/hid/MotionSource.h"

#include "backends/hid/HeadTracker.h"
#include "backends/hid/HidrawSystem.h"

namespace velmaro {
namespace {

Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    return std::make_unique<MotionThread>(
        "head tracker",
        std::make_unique<HeadTracker>(std::make_unique<HidrawSystem>(), setup.diagnostics),
        kMotionPatience);
}

}  // namespace

const MotionSource& hidMotionSource() {
    static constexpr MotionSource kSource{.options = {}, .findsItself = true, .make = make};
    return kSource;
}

}  // namespace velmaro

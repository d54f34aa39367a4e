#include "backends/motion/MotionSource.h"

#include <algorithm>
#include <utility>

#include "backends/motion/MotionChooser.h"

namespace velmaro {

std::string MotionSetup::value(const char* name, const char* otherwise) const {
    const auto found = values.find(name);
    return found == values.end() ? otherwise : found->second;
}

std::vector<SourceOption> optionsOf(MotionSources sources) {
    std::vector<SourceOption> options;
    for (const MotionSource* const source : sources) {
        options.insert(options.end(), source->options.begin(), source->options.end());
    }
    return options;
}

Result<std::unique_ptr<HeadphoneMotion>> makeHeadphoneMotion(MotionSources sources,
                                                             const MotionSetup& setup) {
    const auto isAskedFor = [&](const MotionSource* source) {
        return !source->options.empty() && setup.values.contains(source->options.front().name);
    };
    // Who names a source means that one.
    const bool anyIsAskedFor = std::ranges::any_of(sources, isAskedFor);
    std::vector<std::unique_ptr<HeadphoneMotion>> made;
    for (const MotionSource* const source : sources) {
        if (anyIsAskedFor ? isAskedFor(source) : source->findsItself) {
            auto headphones = source->make(setup);
            if (!headphones) {
                return headphones;
            }
            made.push_back(std::move(*headphones));
        }
    }
    if (made.size() == 1) {
        return std::move(made.front());
    }
    return std::make_unique<MotionChooser>(std::move(made));
}

}  // namespace velmaro

#include "app/KeptDiagnostics.h"

#include <utility>

namespace velmaro {
namespace {

constexpr std::size_t kMostKept = 100;

}  // namespace

KeptDiagnostics::KeptDiagnostics(std::unique_ptr<Diagnostics> printed, DispatchQueue& mainQueue)
    : printed_(std::move(printed)), mainQueue_(mainQueue) {}

void KeptDiagnostics::report(const Diagnostic& diagnostic) {
    printed_->report(diagnostic);
    mainQueue_.async([weakSelf = std::weak_ptr(self_), diagnostic] {
        if (const auto self = weakSelf.lock()) {
            std::vector<Diagnostic> all = (*self)->reported.get();
            if (all.size() == kMostKept) {
                all.erase(all.begin());
            }
            all.push_back(diagnostic);
            (*self)->reported = std::move(all);
        }
    });
}

}  // namespace velmaro

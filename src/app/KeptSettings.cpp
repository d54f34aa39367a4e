#include "app/KeptSettings.h"

#include <string>
#include <string_view>

#include "app/Configuration.h"

namespace velmaro {
namespace {

/// Where the headphones' rest pose is stored.
constexpr std::string_view kPoseKey = "headphoneCalibration";

}  // namespace

bool keepSettings(const Options& options, System& system, Diagnostics& diagnostics) {
    const auto fail = [&](const std::string& text, const std::string& advice) {
        diagnostics.report({.kind = Diagnostic::Kind::failure,
                            .subject = Diagnostic::Subject::settings,
                            .text = text,
                            .advice = advice});
        return false;
    };
    const std::string file = options.configuration.string();
    const auto text = configurationText(options);
    if (!text) {
        return fail("the settings cannot be kept", text.error().description);
    }
    const auto written =
        file.empty() ? failure("there is no home folder") : system.replaceFile(file, *text);
    if (!written) {
        return fail(
            "the settings cannot be kept in " + file + " (" + written.error().description + ")",
            "make the folder writable, or name another file with --config");
    }
    diagnostics.report({.kind = Diagnostic::Kind::hint,
                        .subject = Diagnostic::Subject::settings,
                        .text = "the settings are kept in " + file});
    return true;
}

bool forgetPose(UserDefaults& stored, Diagnostics& diagnostics, bool isInUse) {
    const bool wasThere = !stored.data(kPoseKey).empty();
    stored.setData(kPoseKey, "");
    if (!stored.data(kPoseKey).empty()) {
        diagnostics.report({.kind = Diagnostic::Kind::failure,
                            .subject = Diagnostic::Subject::headphones,
                            .text = "the stored pose of the headphones could not be removed"});
        return false;
    }
    diagnostics.report({.kind = Diagnostic::Kind::hint,
                        .subject = Diagnostic::Subject::headphones,
                        .text = wasThere ? "the stored pose of the headphones is forgotten"
                                         : "no pose of the headphones is stored",
                        .advice = wasThere && isInUse ? "the next start begins without it" : ""});
    return true;
}

}  // namespace velmaro

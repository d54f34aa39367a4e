#pragma once

#include <QString>

#include "app/window/SilenceWatch.h"

namespace velmaro {

/// What a person can do about it that no angle comes from `source`, the name of a camera or of the
/// headphones; empty if there is nothing to do.
[[nodiscard]] QString noteOnSilence(Silence silence, const QString& source);

}  // namespace velmaro

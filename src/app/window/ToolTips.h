#pragma once

#include <QKeySequence>
#include <QString>

namespace velmaro {

/// `text` for a tool tip, which would take angle brackets in it for markup. Texts of cameras, of
/// the system and of the keyboard are shown as they are.
[[nodiscard]] QString plainToolTip(const QString& text);

/// `what` with the keys that do the same.
[[nodiscard]] QString withKeys(const QString& what, const QKeySequence& keys);

}  // namespace velmaro

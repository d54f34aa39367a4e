#pragma once

#include <QDBusMessage>
#include <QString>
#include <QVariant>
#include <optional>

namespace velmaro {

/// A call that asks the desktop's portal for one of the desktop's settings.
[[nodiscard]] QDBusMessage portalSettingCall(const QString& group, const QString& key);

/// What the portal answers, which is wrapped more than once.
[[nodiscard]] QVariant unwrapped(QVariant value);

/// The setting, if a portal runs and answers within a fifth of a second, for which the calling
/// thread waits.
[[nodiscard]] std::optional<QVariant> portalSetting(const QString& group, const QString& key);

}  // namespace velmaro

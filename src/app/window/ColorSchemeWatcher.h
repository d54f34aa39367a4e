#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <optional>

#include "app/window/Colors.h"

namespace velmaro {

/// Knows whether the desktop is light or dark, and tells when it changes: by the toolkit where it
/// knows, else by the desktop portal's setting, else by the palette that the program started with.
class ColorSchemeWatcher final : public QObject {
    Q_OBJECT

public:
    /// Asks the portal if it is there; waits for it a fifth of a second at most.
    explicit ColorSchemeWatcher(QObject* parent = nullptr);

    [[nodiscard]] ColorScheme scheme() const;

Q_SIGNALS:
    void changed(velmaro::ColorScheme scheme);

private Q_SLOTS:
    void settingChanged(const QDBusMessage& message);

private:
    void readPortal();
    void take(const QVariant& value);

    const ColorScheme paletteScheme_;
    std::optional<ColorScheme> portalScheme_;
};

}  // namespace velmaro

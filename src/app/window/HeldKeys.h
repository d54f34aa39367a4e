#pragma once

#include <QKeyEvent>
#include <QObject>

namespace velmaro {

/// Lets a key that is held press a button or a shortcut once, not again and again. Texts are typed
/// as ever. Works on the whole application while it exists; main thread.
class HeldKeys final : public QObject {
public:
    explicit HeldKeys(QObject* parent);

    bool eventFilter(QObject* object, QEvent* event) override;

private:
    [[nodiscard]] bool isRepeat(const QKeyEvent& press) const;

    int lastReleased_ = 0;
    quint64 lastReleaseTime_ = 0;
};

}  // namespace velmaro

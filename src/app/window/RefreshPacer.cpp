#include "app/window/RefreshPacer.h"

#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace velmaro {
namespace {

constexpr std::chrono::milliseconds kInterval{16};

}  // namespace

RefreshPacer::RefreshPacer(const QWidget& widget, std::function<void()> refresh)
    : widget_(widget), refresh_(std::move(refresh)) {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    connect(&timer_, &QTimer::timeout, this, refresh_);
}

void RefreshPacer::watch(QWindow& window) {
    window.installEventFilter(this);
}

void RefreshPacer::refreshSoon() {
    if (!isExposed()) {
        isStale_ = true;
        return;
    }
    if (timer_.isActive()) {
        return;
    }
    const auto since = std::chrono::steady_clock::now() - last_;
    const auto wait = kInterval - std::chrono::ceil<std::chrono::milliseconds>(since);
    timer_.start(std::clamp(wait, std::chrono::milliseconds(0), kInterval));
}

void RefreshPacer::noteRefresh() {
    timer_.stop();
    isStale_ = false;
    last_ = std::chrono::steady_clock::now();
}

bool RefreshPacer::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::Expose && isStale_ && isExposed()) {
        refresh_();
    }
    return QObject::eventFilter(object, event);
}

bool RefreshPacer::isExposed() const {
    const QWindow* const handle = widget_.window()->windowHandle();
    return widget_.isVisible() && handle != nullptr && handle->isExposed();
}

}  // namespace velmaro

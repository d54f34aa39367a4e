#pragma once

#include <QApplication>
#include <functional>
#include <memory>

namespace velmaro {

/// The application object, with everything in its windows as much larger as the desktop's texts are
/// than usual. Goes by their size at the start. `describe` sets what has to be set before there is
/// one, and may be called more than once. `count` and `arguments` outlive the object.
[[nodiscard]] std::unique_ptr<QApplication> makeApplication(int& count, char** arguments,
                                                            const std::function<void()>& describe);

/// From 1 to 1.5, of the desktop's font in points and of its further factor for texts.
[[nodiscard]] double textScale(double points, double factor);

}  // namespace velmaro

#include "app/window/ToolTips.h"

#include <QTextDocument>

namespace velmaro {

QString plainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

QString withKeys(const QString& what, const QKeySequence& keys) {
    return what + " (" + keys.toString(QKeySequence::NativeText) + ")";
}

}  // namespace velmaro

#pragma once

#include <QDialog>
#include <QString>
#include <vector>

#include "platform/Diagnostics.h"

class QPlainTextEdit;

namespace velmaro {

/// What the program has told the person who uses it, the newest last.
class MessageList final : public QDialog {
    Q_OBJECT

public:
    explicit MessageList(QWidget* parent);

    void setMessages(const std::vector<Diagnostic>& messages);

private:
    QPlainTextEdit* text_;
};

/// A message as it is shown, with a capital letter.
[[nodiscard]] QString shown(const Diagnostic& message);

}  // namespace velmaro

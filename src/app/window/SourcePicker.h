#pragma once

#include <QComboBox>
#include <functional>
#include <string>
#include <vector>

#include "app/InputSource.h"

namespace velmaro {

/// The pop-up menu of what orientation can be taken from.
class SourcePicker final : public QComboBox {
    Q_OBJECT

public:
    explicit SourcePicker(QWidget* parent = nullptr);

    /// Shows these sources in this order and marks the one with that `id`, or none. Rows that stay
    /// are left alone, so that an open menu stays open and the keyboard where it is.
    void setSources(const std::vector<InputSource>& sources, const std::string& selectedId);

    /// Called with the `id` that the user chose.
    std::function<void(const std::string&)> onPick;

protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    /// Makes an open list as long as what it holds; one of nothing closes.
    void fitOpenList();
    void insertSource(int row, const InputSource& source);
    void tintIcons();
};

}  // namespace velmaro

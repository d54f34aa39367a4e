#include "platform/PixelBuffer.h"

#include <algorithm>
#include <utility>

namespace velmaro {

namespace {

/// Columns or rows.
struct Axis {
    int ImageView::*length;
    std::ptrdiff_t ColorComponent::*step;
    int ColorComponent::*shift;
};
constexpr Axis kColumns{&ImageView::width, &ColorComponent::columnStep,
                        &ColorComponent::columnShift};
constexpr Axis kRows{&ImageView::height, &ColorComponent::rowStep, &ColorComponent::rowShift};

void reverse(ImageView& view, const Axis& axis) {
    int shift = 0;
    for (const ColorComponent& component : view.components) {
        shift = std::max(shift, component.*axis.shift);
    }
    int& length = view.*axis.length;
    // Values stand for whole groups that begin with the first column, so the last must be whole
    // too. One that is alone is the same in both orders.
    if (length >> shift == 0) {
        return;
    }
    length = length >> shift << shift;
    for (ColorComponent& component : view.components) {
        const int values = length >> component.*axis.shift;
        component.base += (values - 1) * component.*axis.step;
        component.*axis.step = -(component.*axis.step);
    }
}

}  // namespace

ImageView ImageView::transposed() const {
    ImageView view = *this;
    std::swap(view.width, view.height);
    for (ColorComponent& component : view.components) {
        std::swap(component.columnStep, component.rowStep);
        std::swap(component.columnShift, component.rowShift);
    }
    return view;
}

ImageView ImageView::turned(CameraOrientation orientation) const {
    const auto [rotation, mirrored] = orientation;
    ImageView view = rotation == 90 || rotation == 270 ? transposed() : *this;
    if ((rotation == 90 || rotation == 180) != mirrored) {
        reverse(view, kColumns);
    }
    if (rotation == 180 || rotation == 270) {
        reverse(view, kRows);
    }
    return view;
}

}  // namespace velmaro

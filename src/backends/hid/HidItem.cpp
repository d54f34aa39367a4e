#include "backends/hid/HidItem.h"

namespace velmaro {
namespace {

constexpr std::uint8_t kLongItem = 0xFE;

/// In bytes, of a short item's data: 0, 1, 2 or 4.
unsigned sizeOf(std::uint8_t prefix) {
    const unsigned code = prefix & 3U;
    return code == 3 ? 4 : code;
}

}  // namespace

std::int64_t HidItemData::asSigned() const {
    const unsigned width = size * 8;
    const std::int64_t value = bits;
    return width > 0 && (bits >> (width - 1)) != 0 ? value - (std::int64_t{1} << width) : value;
}

HidItemType HidItem::type() const {
    switch (static_cast<std::uint8_t>(tag) & 0x0CU) {
        case 0x00:
            return HidItemType::main;
        case 0x04:
            return HidItemType::global;
        case 0x08:
            return HidItemType::local;
        default:
            return HidItemType::reserved;
    }
}

bool HidItemReader::take(HidItem& item) {
    const std::uint8_t prefix = rest_[0];
    const bool isLong = prefix == kLongItem;
    const unsigned size = isLong ? 0 : sizeOf(prefix);
    // A long item has its size and its tag in two bytes of their own.
    const std::size_t length = isLong && rest_.size() > 1 ? 3U + rest_[1] : 1U + size;
    if (length > rest_.size() || (isLong && rest_.size() < 3)) {
        return false;
    }
    // The type bits of a long item's prefix are those of a reserved one.
    item = {.tag = static_cast<HidTag>(prefix & 0xFCU), .data = {.bits = 0, .size = size}};
    for (unsigned i = 0; i < size; ++i) {
        item.data.bits |= std::uint32_t{rest_[1 + i]} << (8 * i);
    }
    rest_ = rest_.subspan(length);
    return true;
}

}  // namespace velmaro

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>

#include "backends/networks/ModelError.h"

/// Reads the FlatBuffers format without a schema compiler: every access is checked against the
/// end of the bytes and throws ModelError beyond it. A table's fields are numbered as its schema
/// lists them.
namespace velmaro::networks {

static_assert(std::endian::native == std::endian::little,
              "FlatBuffers numbers are little-endian and read in place");

class FlatVector;

class FlatTable {
public:
    /// The root table of a whole buffer.
    static FlatTable root(std::span<const std::byte> bytes) {
        return FlatTable(bytes, follow(bytes, 0));
    }

    FlatTable(std::span<const std::byte> bytes, std::size_t position)
        : bytes_(bytes), position_(position) {
        // The signed distance back to the table of field offsets.
        const auto distance = read<std::int32_t>(bytes, position);
        const auto fields = static_cast<std::int64_t>(position) - distance;
        if (fields < 0) {
            throw ModelError("a table reaches before the start of the file");
        }
        fields_ = static_cast<std::size_t>(fields);
        fieldBytes_ = read<std::uint16_t>(bytes, fields_);
        // Checks the end once, so that offset() need not.
        slice(bytes, fields_, fieldBytes_);
    }

    template <typename T>
    [[nodiscard]] T scalar(std::size_t field, T absent) const {
        const std::size_t at = offset(field);
        return at == 0 ? absent : read<T>(bytes_, position_ + at);
    }

    [[nodiscard]] std::optional<FlatTable> table(std::size_t field) const {
        const std::size_t at = offset(field);
        if (at == 0) {
            return std::nullopt;
        }
        return FlatTable(bytes_, follow(bytes_, position_ + at));
    }

    /// An absent vector reads as an empty one.
    [[nodiscard]] FlatVector vector(std::size_t field) const;

    template <typename T>
    static T read(std::span<const std::byte> bytes, std::size_t at) {
        T value;
        std::memcpy(&value, slice(bytes, at, sizeof value).data(), sizeof value);
        return value;
    }

    static std::span<const std::byte> slice(std::span<const std::byte> bytes, std::size_t at,
                                            std::size_t count) {
        if (at > bytes.size() || count > bytes.size() - at) {
            throw ModelError("the file ends too early");
        }
        return bytes.subspan(at, count);
    }

    /// Where the reference that stands at `at` points.
    static std::size_t follow(std::span<const std::byte> bytes, std::size_t at) {
        return at + read<std::uint32_t>(bytes, at);
    }

private:
    [[nodiscard]] std::size_t offset(std::size_t field) const {
        const std::size_t entry = 4 + 2 * field;
        return entry + 2 > fieldBytes_ ? 0 : read<std::uint16_t>(bytes_, fields_ + entry);
    }

    std::span<const std::byte> bytes_;
    std::size_t position_;
    std::size_t fields_ = 0;
    std::size_t fieldBytes_ = 0;
};

class FlatVector {
public:
    FlatVector() = default;
    FlatVector(std::span<const std::byte> bytes, std::size_t position)
        : bytes_(bytes),
          first_(position + 4),
          size_(FlatTable::read<std::uint32_t>(bytes, position)) {
        // No element is smaller than a byte, so a count beyond this is damage.
        FlatTable::slice(bytes, first_, size_);
    }

    [[nodiscard]] std::size_t size() const { return size_; }

    template <typename T>
    [[nodiscard]] T scalar(std::size_t index) const {
        return FlatTable::read<T>(bytes_, first_ + checked(index) * sizeof(T));
    }

    [[nodiscard]] FlatTable table(std::size_t index) const {
        return FlatTable(bytes_, FlatTable::follow(bytes_, first_ + checked(index) * 4));
    }

    /// All elements of a vector of bytes.
    [[nodiscard]] std::span<const std::byte> raw() const {
        return FlatTable::slice(bytes_, first_, size_);
    }

private:
    [[nodiscard]] std::size_t checked(std::size_t index) const {
        if (index >= size_) {
            throw ModelError("an index points beyond its list");
        }
        return index;
    }

    std::span<const std::byte> bytes_;
    std::size_t first_ = 0;
    std::size_t size_ = 0;
};

inline FlatVector FlatTable::vector(std::size_t field) const {
    const std::size_t at = offset(field);
    return at == 0 ? FlatVector() : FlatVector(bytes_, follow(bytes_, position_ + at));
}

}  // namespace velmaro::networks

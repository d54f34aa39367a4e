#include "backends/facemesh/CanonicalFace.h"

#include <cmath>
#include <cstdint>

#include "backends/networks/FlatBuffer.h"
#include "backends/networks/ModelError.h"

// The numbers of fields are those of MediaPipe's face geometry messages:
// metadata { 1: mesh { 3: vertices }, 2: basis { 1: landmark, 2: weight } }; a vertex is
// x, y, z, u, v.

namespace velmaro::facemesh {
namespace {

constexpr std::size_t numbersPerVertex = 5;

enum class WireType : std::uint8_t { Varint = 0, Bytes = 2, Fixed32 = 5 };

/// One field of a message at a time.
class ProtobufReader {
public:
    explicit ProtobufReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    bool next() {
        if (at_ == bytes_.size()) {
            return false;
        }
        const std::uint64_t key = varint();
        field = key >> 3;
        type = static_cast<WireType>(key & 7);
        switch (type) {
            case WireType::Varint:
                number = varint();
                return true;
            case WireType::Bytes: {
                const std::uint64_t count = varint();
                bytes = networks::FlatTable::slice(bytes_, at_, count);
                at_ += count;
                return true;
            }
            case WireType::Fixed32:
                real = networks::FlatTable::read<float>(bytes_, at_);
                at_ += 4;
                return true;
        }
        throw networks::ModelError("a field of unknown kind");
    }

    [[nodiscard]] bool is(std::uint64_t wantedField, WireType wantedType) const {
        return field == wantedField && type == wantedType;
    }

    std::uint64_t field = 0;
    WireType type = WireType::Varint;
    std::uint64_t number = 0;
    std::span<const std::byte> bytes;
    float real = 0;

private:
    std::uint64_t varint() {
        std::uint64_t value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            const auto byte = networks::FlatTable::read<std::uint8_t>(bytes_, at_++);
            value |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
            if ((byte & 0x80) == 0) {
                return value;
            }
        }
        throw networks::ModelError("a number without an end");
    }

    std::span<const std::byte> bytes_;
    std::size_t at_ = 0;
};

void readMesh(std::span<const std::byte> message, CanonicalFace& face) {
    std::size_t count = 0;
    for (ProtobufReader reader(message); reader.next();) {
        if (!reader.is(3, WireType::Fixed32)) {
            continue;
        }
        const std::size_t point = count / numbersPerVertex;
        const std::size_t axis = count % numbersPerVertex;
        ++count;
        if (point < facePointCount && axis < 3) {
            face.points[point][axis] = reader.real;
        }
        if (!std::isfinite(reader.real)) {
            throw networks::ModelError("a point of the face is not a number");
        }
    }
    if (count != facePointCount * numbersPerVertex) {
        throw networks::ModelError("the face does not have 468 points");
    }
}

CanonicalFace::Weight readWeight(std::span<const std::byte> message) {
    CanonicalFace::Weight weight;
    for (ProtobufReader reader(message); reader.next();) {
        if (reader.is(1, WireType::Varint)) {
            weight.point = reader.number;
        } else if (reader.is(2, WireType::Fixed32)) {
            weight.weight = reader.real;
        }
    }
    if (weight.point >= facePointCount || !(weight.weight > 0 && weight.weight <= 1)) {
        throw networks::ModelError("a weighted point that does not exist");
    }
    return weight;
}

}  // namespace

CanonicalFace readCanonicalFace(std::span<const std::byte> file) {
    CanonicalFace face;
    bool mesh = false;
    for (ProtobufReader reader(file); reader.next();) {
        if (reader.is(1, WireType::Bytes)) {
            readMesh(reader.bytes, face);
            mesh = true;
        } else if (reader.is(2, WireType::Bytes)) {
            face.weights.push_back(readWeight(reader.bytes));
        }
    }
    if (!mesh || face.weights.size() < 3) {
        throw networks::ModelError("the face has no points or no weights");
    }
    return face;
}

}  // namespace velmaro::facemesh

#include "backends/facemesh/CanonicalFace.h"

#include <cmath>
#include <cstdint>
#include <protozero/exception.hpp>
#include <protozero/pbf_message.hpp>
#include <stdexcept>

namespace velmaro::facemesh {
namespace {

constexpr std::size_t kNumbersPerVertex = 5;

// The numbers of fields are those of MediaPipe's face geometry messages; a vertex is x, y, z, u, v.
enum class Metadata : protozero::pbf_tag_type { mesh = 1, basis = 2 };
enum class Mesh : protozero::pbf_tag_type { vertices = 3 };
enum class Basis : protozero::pbf_tag_type { landmark = 1, weight = 2 };

using Wire = protozero::pbf_wire_type;

/// Never leaves this file.
class Damage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void readMesh(protozero::pbf_message<Mesh> message, CanonicalFace& face) {
    std::size_t count = 0;
    while (message.next(Mesh::vertices, Wire::fixed32)) {
        const float number = message.get_float();
        const std::size_t point = count / kNumbersPerVertex;
        const std::size_t axis = count % kNumbersPerVertex;
        ++count;
        if (point < kFacePointCount && axis < 3) {
            face.points[point][axis] = number;
        }
        if (!std::isfinite(number)) {
            throw Damage("a point of the face is not a number");
        }
    }
    if (count != kFacePointCount * kNumbersPerVertex) {
        throw Damage("the face does not have 468 points");
    }
}

CanonicalFace::Weight readWeight(protozero::pbf_message<Basis> message) {
    CanonicalFace::Weight weight;
    while (message.next()) {
        switch (message.tag_and_type()) {
            case tag_and_type(Basis::landmark, Wire::varint):
                weight.point = message.get_uint64();
                break;
            case tag_and_type(Basis::weight, Wire::fixed32):
                weight.weight = message.get_float();
                break;
            default:
                message.skip();
        }
    }
    if (weight.point >= kFacePointCount || !(weight.weight > 0 && weight.weight <= 1)) {
        throw Damage("a weighted point that does not exist");
    }
    return weight;
}

CanonicalFace read(protozero::pbf_message<Metadata> message) {
    CanonicalFace face;
    bool mesh = false;
    while (message.next()) {
        switch (message.tag_and_type()) {
            case tag_and_type(Metadata::mesh, Wire::length_delimited):
                readMesh(message.get_message(), face);
                mesh = true;
                break;
            case tag_and_type(Metadata::basis, Wire::length_delimited):
                face.weights.push_back(readWeight(message.get_message()));
                break;
            default:
                message.skip();
        }
    }
    if (!mesh || face.weights.size() < 3) {
        throw Damage("the face has no points or no weights");
    }
    return face;
}

}  // namespace

Result<CanonicalFace> readCanonicalFace(std::span<const std::byte> file) {
    try {
        return read({reinterpret_cast<const char*>(file.data()), file.size()});
    } catch (const protozero::exception& error) {
        return failure(error.what());
    } catch (const Damage& error) {
        return failure(error.what());
    }
}

}  // namespace velmaro::facemesh

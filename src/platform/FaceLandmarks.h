#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "platform/Error.h"
#include "platform/PixelBuffer.h"

namespace velmaro {

struct Point {
    double x = 0;
    double y = 0;
};

struct Rectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// The landmark regions of one face. A region may be absent, and a present one may hold no points.
/// Points are normalised to the face's bounding box, origin at its lower left, y upward.
struct FaceRegions {
    using Region = std::optional<std::span<const Point>>;
    Region noseCrest;
    Region leftEye;
    Region rightEye;
};

/// One detected face.
struct FaceObservation {
    /// Absent when the face was found but not its landmarks.
    std::optional<FaceRegions> landmarks;
    /// Normalised to the image, origin at its lower left, y upward; may reach beyond the image.
    Rectangle boundingBox;
    /// Radians, positive when the nose points to the image's right; absent when not measured.
    std::optional<double> yaw;
};

/// The door to face-landmark detection.
class FaceLandmarks {
public:
    using Results = std::optional<std::span<const FaceObservation>>;

    /// Gets the faces, best first, or an error. The results, and the points inside them, are valid
    /// only during the call.
    using Completion = std::function<void(const Results&, const std::optional<Error>&)>;

    virtual ~FaceLandmarks() = default;

    /// Finds the faces in one picture, analysed as it lies, and calls `completion` once on the
    /// current thread before it returns. Returns false, without a call, when the analysis could not
    /// be performed at all. One thread at a time.
    ///
    /// Of the pictures before, where the first face was is kept as a hint where to look: while it
    /// is found there, it comes first, and may come alone, until another has been surer for some
    /// pictures, less than half a second's; and for 15 pictures after it has gone. No angle is
    /// kept. A picture of another size or of another run of its source clears it; so does, in
    /// effect, a cut, since the face is then not where it was.
    virtual bool perform(const std::shared_ptr<const PixelBuffer>& image,
                         const Completion& completion) = 0;
};

}  // namespace velmaro

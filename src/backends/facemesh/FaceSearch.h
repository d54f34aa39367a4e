#pragma once

#include <optional>
#include <span>
#include <vector>

#include "backends/facemesh/Detector.h"
#include "backends/facemesh/ImageView.h"

namespace velmaro::facemesh {

/// Decides where in a picture to look for faces, by what the pictures before it showed. A face that
/// is followed is looked for in a square around it, which costs one run of the detector however far
/// away it is, and every twelfth picture as a whole, for others, which costs no run more where that
/// shows the face too. While nobody is there each picture is searched whole and in one of its parts
/// in turn, at first in several. One thread at a time.
class FaceSearch {
public:
    explicit FaceSearch(Detector detector) : detector_(std::move(detector)) {}

    /// The faces of a picture, best first; while one is followed, that one alone, or the one that
    /// has beaten it. Valid until the next call.
    std::span<const Detection> search(const ImageView& image);

    /// A face that `search` gave, as the next picture would be searched for it; null if it does not
    /// show there. What `search` gave is not valid any more.
    std::optional<Detection> lookAgain(const ImageView& image, const Detection& face);

    /// The first of what `search` gave is a face: it is followed from now on.
    void confirm(const Detection& face);
    /// None of what `search` gave is a face.
    void reject();
    /// Nothing of what was seen matters any more.
    void forget();

    /// Whether a face was followed into this picture.
    [[nodiscard]] bool follows() const { return followed_.has_value(); }
    /// How often the detector ran for the last picture.
    [[nodiscard]] int looks() const { return looks_; }

    [[nodiscard]] Detector& detector() { return detector_; }

private:
    struct Part {
        enum class Kind { square, tile, suspect };

        Region region;
        Kind kind = Kind::square;
    };
    struct Followed {
        Detection last;
        /// Where the square stands, and for how large a face: held still, since a square that moves
        /// with the face passes its own unsteadiness on.
        PixelPoint centre;
        float side = 0;
        int sinceWhole = 0;
        /// The last look at the whole picture showed it too, at the same place.
        bool isInWhole = false;
        /// How many looks in a row somebody else was surer.
        int beaten = 0;
    };

    std::span<const Detection> look(const ImageView& image, const Region& region,
                                    float least = kLeastScore);
    std::span<const Detection> lookAt(const ImageView& image, const Part& part);
    const Detection* lookAround(const ImageView& image);
    bool lookForOthers(const ImageView& image);
    std::span<const Detection> searchEverywhere(const ImageView& image);
    std::span<const Detection> searchInTurn(const ImageView& image);
    std::span<const Detection> lookAtParts(const ImageView& image);
    Part nextPart();
    void layOut(const ImageView& image);

    Detector detector_;
    std::optional<Followed> followed_;
    /// Where a face was last, for as many more pictures.
    PixelPoint lastCentre_;
    float lastSide_ = 0;
    int lastPictures_ = 0;
    /// Somebody was there, or may have been, so the next picture is searched in all squares.
    bool everywhere_ = true;
    std::optional<Part> suspect_;
    int width_ = 0;
    int height_ = 0;
    std::vector<Part> parts_;
    std::size_t squares_ = 0;
    std::size_t next_ = 0;
    /// Parts not looked at since somebody was there or may have been.
    std::size_t unseen_ = 0;
    /// Something that is no face looked like one in the whole picture, and must not hide the parts.
    bool deceived_ = false;
    int looks_ = 0;
    Detection result_;
    Detection other_;
};

}  // namespace velmaro::facemesh

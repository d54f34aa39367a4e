#include "backends/facemesh/FaceSearch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace velmaro::facemesh {
namespace {

/// Of the face's own size, the square in which it is followed.
constexpr float kSquare = 3;
/// The square moves when the face has moved by so much of its size ...
constexpr float kMoved = 0.5F;
/// ... or is so much larger or smaller than it was.
constexpr float kGrown = 1.25F;
/// At 30 pictures a second another face is noticed, checked and taken within half a second.
constexpr int kWholeEvery = 12;
constexpr int kBeatenOften = 3;
/// A face that has moved by less of its size since the last picture is where it was.
constexpr float kStill = 0.15F;
/// A face that is followed may be less sure than a new one, as when it turns far away.
constexpr float kLeastFollowed = 0.3F;
/// By how much another face must be surer than the one that is followed: less is chance.
constexpr float kSurer = 0.03F;
/// Scores on a tile from which on a closer look is worth it, and in that look.
constexpr float kLeastOnTile = 0.3F;
constexpr float kLeastOfSuspect = 0.8F;
/// Pictures for which a face that has gone is still looked for at its place.
constexpr int kRemembered = 15;
constexpr int kMostSquares = 6;
constexpr int kMostTilesPerAxis = 8;
/// Parts that one picture is searched in until all of them have been once.
constexpr int kPartsAtFirst = 4;

float sideOf(const Detection& face) {
    return std::max(face.width, face.height);
}

float distance(const PixelPoint& a, const PixelPoint& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

/// The same face, a picture later or in another look.
bool isSame(const Detection& a, const Detection& b) {
    const float side = std::max(sideOf(a), sideOf(b));
    return distance(a.centre, b.centre) < 0.6F * side;
}

/// A square about a point, as far as the picture reaches.
Region squareAbout(const PixelPoint& centre, float side, const ImageView& image) {
    const auto fit = [side](float middle, int length) {
        const int size = std::clamp(static_cast<int>(side), 1, length);
        const int start = static_cast<int>(middle - static_cast<float>(size) / 2);
        return std::pair(std::clamp(start, 0, length - size), size);
    };
    const auto [x, width] = fit(centre.x, image.width);
    const auto [y, height] = fit(centre.y, image.height);
    return {x, y, width, height};
}

/// `index` of `count` places that cover a length evenly, the middle ones first.
int place(int index, int count, int rest) {
    const int last = count - 1;
    const int step = last / 2 + (index % 2 == 1 ? 1 : -1) * ((index + 1) / 2);
    return last == 0 ? rest / 2 : static_cast<int>(static_cast<std::int64_t>(rest) * step / last);
}

}  // namespace

std::span<const Detection> FaceSearch::search(const ImageView& image) {
    looks_ = 0;
    if (image.width != width_ || image.height != height_) {
        layOut(image);
        forget();
    }
    if (followed_) {
        if (const Detection* face = lookAround(image)) {
            result_ = *face;
            return {&result_, 1};
        }
        reject();
    }
    return everywhere_ ? searchEverywhere(image) : searchInTurn(image);
}

std::optional<Detection> FaceSearch::lookAgain(const ImageView& image, const Detection& face) {
    const auto found =
        look(image, squareAbout(face.centre, kSquare * sideOf(face), image), kLeastFollowed);
    const auto own =
        std::ranges::find_if(found, [&](const Detection& other) { return isSame(other, face); });
    return own == found.end() ? std::nullopt : std::optional(*own);
}

void FaceSearch::confirm(const Detection& face) {
    const float side = sideOf(face);
    deceived_ = false;
    if (!followed_) {
        followed_ = {face, face.centre, side};
        return;
    }
    followed_->last = face;
    const float grown = side / followed_->side;
    if (distance(face.centre, followed_->centre) > kMoved * followed_->side || grown > kGrown ||
        grown < 1 / kGrown) {
        followed_->centre = face.centre;
        followed_->side = side;
    }
}

void FaceSearch::reject() {
    if (!followed_) {
        deceived_ = true;
        return;
    }
    lastCentre_ = followed_->centre;
    lastSide_ = kSquare * followed_->side;
    lastPictures_ = kRemembered;
    followed_.reset();
    everywhere_ = true;
}

void FaceSearch::forget() {
    followed_.reset();
    lastPictures_ = 0;
    suspect_.reset();
    deceived_ = false;
    everywhere_ = true;
    next_ = 0;
}

std::span<const Detection> FaceSearch::look(const ImageView& image, const Region& region,
                                            float least) {
    ++looks_;
    return detector_.detect(image, region, least);
}

/// The face that is followed, or the one that has beaten it; null when neither is there.
const Detection* FaceSearch::lookAround(const ImageView& image) {
    Followed& followed = *followed_;
    const bool isDue = ++followed.sinceWhole >= kWholeEvery;
    if (isDue && followed.isInWhole && followed.beaten == 0) {
        // The look at the whole picture takes the place of the one at the square if it shows that
        // the face is where it was: where exactly the square shows better.
        result_ = followed.last;
        const bool beaten = lookForOthers(image);
        if (followed.isInWhole) {
            followed.beaten = beaten ? 1 : 0;
            return &result_;
        }
    }
    const auto found =
        look(image, squareAbout(followed.centre, kSquare * followed.side, image), kLeastFollowed);
    const auto own = std::ranges::find_if(
        found, [&](const Detection& face) { return isSame(face, followed.last); });
    if (own == found.end() && (found.empty() || found.front().score < kLeastScore)) {
        return nullptr;
    }
    // Somebody who moved too fast is the best in the square.
    result_ = own == found.end() ? found.front() : *own;
    other_ = found.front();
    const bool beatenInSquare = own != found.end() && other_.score > own->score + kSurer;
    if (isDue || followed.beaten > 0 || beatenInSquare) {
        followed.beaten = lookForOthers(image) || beatenInSquare ? followed.beaten + 1 : 0;
        if (followed.beaten >= kBeatenOften) {
            followed_.reset();
            return &other_;
        }
    }
    return &result_;
}

/// Whether somebody else is surer than the face that is followed, in one and the same look, since
/// the score depends on how large a face is in it. Then the best of them is in `other_`.
bool FaceSearch::lookForOthers(const ImageView& image) {
    const auto found = look(image, {0, 0, image.width, image.height});
    const auto own =
        std::ranges::find_if(found, [&](const Detection& face) { return isSame(face, result_); });
    const float score = own == found.end() ? 0 : own->score;
    followed_->sinceWhole = 0;
    followed_->isInWhole =
        own != found.end() && distance(own->centre, result_.centre) < kStill * sideOf(result_);
    if (found.empty() || found.front().score <= score + kSurer) {
        return false;
    }
    other_ = found.front();
    return true;
}

/// The whole picture, and when it shows nobody its squares until one shows somebody.
std::span<const Detection> FaceSearch::searchEverywhere(const ImageView& image) {
    everywhere_ = false;
    auto found = look(image, {0, 0, image.width, image.height});
    for (std::size_t i = 0; i < squares_ && found.empty(); ++i) {
        found = look(image, parts_[i].region);
    }
    next_ = squares_;
    unseen_ = parts_.size() - squares_;
    return found;
}

/// The whole picture and one part of it, the next at each call; several while some are unseen.
std::span<const Detection> FaceSearch::searchInTurn(const ImageView& image) {
    const Region whole = {0, 0, image.width, image.height};
    auto found = deceived_ ? lookAtParts(image) : look(image, whole);
    if (found.empty()) {
        found = deceived_ ? look(image, whole) : lookAtParts(image);
    }
    return found;
}

std::span<const Detection> FaceSearch::lookAtParts(const ImageView& image) {
    const bool isLastPlace = lastPictures_ > 0 && --lastPictures_ % 2 == 0;
    const Part last = {squareAbout(lastCentre_, lastSide_, image), Part::Kind::square};
    auto found = lookAt(image, isLastPlace ? last : nextPart());
    for (int i = 1; i < kPartsAtFirst && found.empty() && unseen_ > 0; ++i) {
        found = lookAt(image, nextPart());
    }
    return found;
}

/// A small part shows animals and things as large as faces. So what it finds is only where the next
/// look is a close one, and there a face must be surer than elsewhere.
std::span<const Detection> FaceSearch::lookAt(const ImageView& image, const Part& part) {
    const auto found =
        look(image, part.region, part.kind == Part::Kind::tile ? kLeastOnTile : kLeastScore);
    switch (part.kind) {
        case Part::Kind::square:
            return found;
        case Part::Kind::tile:
            if (!found.empty()) {
                const float side = kSquare * sideOf(found.front());
                suspect_ =
                    Part{squareAbout(found.front().centre, side, image), Part::Kind::suspect};
            }
            return {};
        case Part::Kind::suspect:
            return !found.empty() && found.front().score >= kLeastOfSuspect
                       ? found
                       : std::span<const Detection>();
    }
    return {};
}

FaceSearch::Part FaceSearch::nextPart() {
    if (suspect_) {
        return *std::exchange(suspect_, std::nullopt);
    }
    const Part part = parts_[next_];
    next_ = (next_ + 1) % parts_.size();
    unseen_ -= unseen_ > 0 ? 1 : 0;
    return part;
}

/// The parts of a picture of this size: squares as high, or as wide, as it is, then tiles of half
/// that side. They overlap, so that a face on a border is whole in another one.
void FaceSearch::layOut(const ImageView& image) {
    width_ = image.width;
    height_ = image.height;
    parts_.clear();
    next_ = 0;
    const int side = std::min(width_, height_);
    const int rest = std::max(width_, height_) - side;
    if (rest > 0) {
        const int count = std::min((2 * rest + side - 1) / side + 1, kMostSquares);
        for (int i = 0; i < count; ++i) {
            const int at = place(i, count, rest);
            parts_.push_back({{width_ > height_ ? at : 0, width_ > height_ ? 0 : at, side, side},
                              Part::Kind::square});
        }
    }
    squares_ = parts_.size();
    const int tile = std::max(side / 2, 1);
    const auto tiles = [tile](int length) {
        return std::min((20 * (length - tile) + 13 * tile - 1) / (13 * tile) + 1,
                        kMostTilesPerAxis);
    };
    const int columns = tiles(width_);
    const int rows = tiles(height_);
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            parts_.push_back(
                {{place(i, columns, width_ - tile), place(j, rows, height_ - tile), tile, tile},
                 Part::Kind::tile});
        }
    }
}

}  // namespace velmaro::facemesh

// What the face landmarks make of frames whose truth is known: found, error, steadiness, cost.
//   benchmark_faces CLIP.i420 ANGLES.csv [PART OF A ROW'S NAME]
// The clip is the demonstration's, decoded. Prints one line of JSON for each row of the table. All
// random numbers are the same in each run; costs are in time of the processor, as a ratio to the
// two networks alone, measured in turns with them.

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "Scene.h"
#include "backends/facemesh/FaceAnalyzer.h"
#include "backends/facemesh/FaceMesh.h"

namespace velmaro::faces {
namespace {

using testing::Frame;

constexpr double kDegrees = 180 / std::numbers::pi;
constexpr int kWidth = 1280;
constexpr int kHeight = 720;

double threadMilliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double percentile(std::vector<double> values, double share) {
    if (values.empty()) {
        return NAN;
    }
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

double mean(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) {
        sum += value;
    }
    return values.empty() ? NAN : sum / static_cast<double>(values.size());
}

double deviation(const std::vector<double>& values) {
    const double middle = mean(values);
    double sum = 0;
    for (const double value : values) {
        sum += (value - middle) * (value - middle);
    }
    return std::sqrt(sum / static_cast<double>(values.size()));
}

/// The first face of a frame: in degrees, and its middle in pixels.
struct Found {
    double yaw = 0;
    double x = 0;
    double y = 0;
};

/// The engine as the program uses it, one camera's worth.
class Engine {
public:
    Engine() : mesh_(FaceMesh::create(VELMARO_MODELS_DIR, nullptr).value()) {}

    std::optional<Found> look(Frame frame) {
        const auto image = std::make_shared<const Frame>(std::move(frame));
        std::optional<Found> found;
        const FaceLandmarks::Completion completion = [&](const FaceLandmarks::Results& results,
                                                         const std::optional<Error>&) {
            if (results && !results->empty()) {
                const FaceObservation& face = results->front();
                const Rectangle& box = face.boundingBox;
                found = {*face.yaw * kDegrees, (box.x + box.width / 2) * image->width(),
                         (1 - box.y - box.height / 2) * image->height()};
            }
        };
        const double start = threadMilliseconds();
        mesh_->perform(image, completion);
        costs.push_back(threadMilliseconds() - start);
        const double networks = threadMilliseconds();
        if (!bare_.detector().network().run() || !bare_.landmarkFinder().network().run()) {
            throw std::runtime_error("a network does not run");
        }
        networks_.push_back(threadMilliseconds() - networks);
        return found;
    }

    /// Medians, the networks' being 1.
    [[nodiscard]] double cost() const {
        return percentile(costs, 0.5) / percentile(networks_, 0.5);
    }
    [[nodiscard]] double meanCost() const { return mean(costs) / mean(networks_); }

    std::vector<double> costs;

private:
    std::unique_ptr<FaceMesh> mesh_;
    facemesh::FaceAnalyzer bare_ = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    std::vector<double> networks_;
};

void print(const std::string& name, const std::vector<std::pair<const char*, double>>& values) {
    std::printf("{\"name\": \"%s\"", name.c_str());
    for (const auto& [key, value] : values) {
        if (std::isfinite(value)) {
            std::printf(", \"%s\": %.4g", key, value);
        } else {
            std::printf(", \"%s\": null", key);
        }
    }
    std::printf("}\n");
    std::fflush(stdout);
}

/// What is known of a run of frames in which somebody moves as in the clip.
struct Course {
    int frames = 0;
    int found = 0;
    int wrong = 0;
    std::vector<double> first;
    std::vector<double> errors;
    std::vector<double> jumps;
    std::vector<std::pair<double, double>> pairs;

    /// Of measured yaw on true yaw.
    [[nodiscard]] double slope() const {
        double xx = 0, xy = 0, x = 0, y = 0;
        for (const auto& [truth, measured] : pairs) {
            x += truth;
            y += measured;
            xx += truth * truth;
            xy += truth * measured;
        }
        const auto n = static_cast<double>(pairs.size());
        return (n * xy - x * y) / (n * xx - x * x);
    }
};

/// Every which picture of the clip is played: ten a second, so that heads turn thrice as fast.
constexpr int kEvery = 3;

/// Plays the clip at one place before a new engine and adds to the course.
void play(Clip& clip, Scene scene, const Placing& placing, const Spoiling& spoiling, Course& course,
          Engine& engine) {
    std::vector<double> deviations;
    int before = -1;
    for (int i = 0; i < clip.size(); i += kEvery) {
        Picture picture = clip.picture(i);
        if (spoiling.mask) {
            paintMask(picture);
        }
        Frame frame = scene.empty();
        scene.add(frame, picture, placing);
        scene.spoil(frame, spoiling);
        auto found = engine.look(std::move(frame));
        ++course.frames;
        if (found && std::hypot(found->x - placing.x, found->y - placing.y) > placing.faceHeight) {
            ++course.wrong;
            found.reset();
        }
        if (!found) {
            deviations.clear();
            continue;
        }
        ++course.found;
        if (before < 0) {
            before = i / kEvery;
        }
        course.errors.push_back(std::abs(found->yaw - picture.angles.yaw));
        course.pairs.emplace_back(picture.angles.yaw, found->yaw);
        // Of what is measured beyond the truth, whose own turns are none of the engine's.
        deviations.push_back(found->yaw - picture.angles.yaw);
        if (const std::size_t n = deviations.size(); n >= 3) {
            course.jumps.push_back(
                std::abs(deviations[n - 1] - 2 * deviations[n - 2] + deviations[n - 3]));
        }
    }
    course.first.push_back(before < 0 ? clip.size() : before);
}

void playEverywhere(const std::string& name, Clip& clip, int width, int height, double faceHeight,
                    const Spoiling& spoiling) {
    Course course;
    std::vector<double> costs;
    for (const auto& [u, v] : {std::pair{0.21, 0.6}, {0.6, 0.4}}) {
        Engine engine;
        const double reach = faceHeight / 2;
        const Placing placing = {std::clamp(u * width, reach, width - reach),
                                 std::clamp(v * height, reach, height - reach), faceHeight};
        play(clip, Scene(width, height), placing, spoiling, course, engine);
        costs.push_back(engine.meanCost());
    }
    print(name, {{"found", static_cast<double>(course.found) / course.frames},
                 {"wrong", course.wrong},
                 {"first", *std::ranges::max_element(course.first)},
                 {"error", mean(course.errors)},
                 {"slope", course.slope()},
                 {"jump_p95", percentile(course.jumps, 0.95)},
                 {"cost", mean(costs)}});
}

void still(const std::string& name, Clip& clip, double faceHeight, double noise) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    Frame face = scene.empty();
    scene.add(face, clip.picture(75), {610, 330, faceHeight});
    std::vector<double> yaws;
    for (int i = 0; i < 240; ++i) {
        Frame frame = face;
        scene.spoil(frame, {.noise = noise});
        const auto found = engine.look(std::move(frame));
        // What the first second does is the start's, not the noise's.
        if (found && i >= 30) {
            yaws.push_back(found->yaw);
        }
    }
    std::vector<double> steps;
    for (std::size_t i = 1; i < yaws.size(); ++i) {
        steps.push_back(std::abs(yaws[i] - yaws[i - 1]));
    }
    print(name, {{"found", static_cast<double>(yaws.size()) / 210},
                 {"deviation", deviation(yaws)},
                 {"step_p99", percentile(steps, 0.99)},
                 {"cost", engine.meanCost()}});
}

void nobody(const std::string& name) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    int found = 0;
    const Frame empty = scene.empty();
    for (int i = 0; i < 180; ++i) {
        Frame frame = empty;
        scene.spoil(frame, {.noise = 2});
        found += engine.look(std::move(frame)) ? 1 : 0;
    }
    print(name, {{"found", found / 180.0},
                 {"cost", engine.meanCost()},
                 {"worst", percentile(engine.costs, 0.99) / percentile(engine.costs, 0.5)}});
}

/// Somebody leaves: frames in which a face is still reported.
void leaves(const std::string& name, Clip& clip, double faceHeight) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    const Frame empty = scene.empty();
    Frame face = empty;
    scene.add(face, clip.picture(0), {420, 380, faceHeight});
    int ghosts = 0;
    for (int i = 0; i < 120; ++i) {
        Frame frame = i < 40 ? face : empty;
        scene.spoil(frame, {.noise = 2});
        const bool found = engine.look(std::move(frame)).has_value();
        ghosts += found && i >= 40 ? 1 : 0;
    }
    print(name, {{"ghosts", ghosts}});
}

/// After forty frames of a far face a near one comes: frames until it is the first face for good.
void newcomer(const std::string& name, Clip& clip, double far, double near) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    Frame alone = scene.empty();
    scene.add(alone, clip.picture(0), {260, 330, far});
    Frame both = alone;
    scene.add(both, clip.picture(20), {900, 380, near});
    int last = -1;
    for (int i = 0; i < 110; ++i) {
        Frame frame = i < 40 ? alone : both;
        scene.spoil(frame, {.noise = 2});
        const auto found = engine.look(std::move(frame));
        if (i >= 40 && !(found && found->x > kWidth / 2.0)) {
            last = i - 40;
        }
    }
    print(name, {{"frames", last + 1}});
}

/// Two people alike, moving: how often the first face is another one than before.
void two(const std::string& name, Clip& clip, double distance, double faceHeight) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    int jumps = 0;
    int found = 0;
    std::optional<double> before;
    for (int i = 0; i < clip.size(); i += kEvery) {
        Frame frame = scene.empty();
        scene.add(frame, clip.picture(i), {640 - distance / 2, 350, faceHeight});
        scene.add(frame, clip.picture((i + 60) % clip.size()),
                  {640 + distance / 2, 350, faceHeight});
        scene.spoil(frame, {.noise = 3});
        const auto face = engine.look(std::move(frame));
        if (!face) {
            continue;
        }
        ++found;
        jumps += before && std::abs(face->x - *before) > distance / 2 ? 1 : 0;
        before = face->x;
    }
    print(name, {{"found", found / (clip.size() / static_cast<double>(kEvery))}, {"jumps", jumps}});
}

/// The head is turned at once: frames until nine tenths of the change are reported; and it moves to
/// another place: frames until it is found there.
void step(const std::string& name, Clip& clip) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    Frame straight = scene.empty();
    Frame turned = straight;
    Frame elsewhere = straight;
    scene.add(straight, clip.picture(0), {600, 350, 220});
    scene.add(turned, clip.picture(36), {600, 350, 220});
    scene.add(elsewhere, clip.picture(36), {900, 300, 220});
    double from = 0;
    std::vector<double> after;
    int moved = -1;
    for (int i = 0; i < 120; ++i) {
        Frame frame = i < 40 ? straight : i < 80 ? turned : elsewhere;
        scene.spoil(frame, {.noise = 1});
        const auto found = engine.look(std::move(frame));
        if (i == 39 && found) {
            from = found->yaw;
        } else if (i >= 40 && i < 80) {
            after.push_back(found ? found->yaw : NAN);
        } else if (i >= 80 && moved < 0 && found && std::abs(found->x - 900) < 60) {
            moved = i - 80;
        }
    }
    const double to = after.back();
    const auto first = std::ranges::find_if(
        after, [&](double yaw) { return std::abs(yaw - to) <= 0.1 * std::abs(to - from); });
    print(name, {{"turned", static_cast<double>(first - after.begin())}, {"moved", moved}});
}

void cost(const std::string& name, Clip& clip) {
    Engine engine;
    Scene scene(kWidth, kHeight);
    Frame frame = scene.empty();
    scene.add(frame, clip.picture(10), {640, 350, 250});
    int found = 0;
    for (int i = 0; i < 240; ++i) {
        found += engine.look(frame) ? 1 : 0;
    }
    print(name,
          {{"found", found / 240.0}, {"cost", engine.cost()}, {"mean_cost", engine.meanCost()}});
}

struct Row {
    std::string name;
    std::function<void(const std::string&)> measure;
};

std::vector<Row> rows(Clip& clip) {
    const double far = 0.2 * kHeight;
    const double near = 0.35 * kHeight;
    std::vector<Row> rows;
    const auto everywhere = [&](const std::string& name, int width, int height, double faceHeight,
                                const Spoiling& spoiling) {
        rows.push_back({name, [=, &clip](const std::string& row) {
                            playEverywhere(row, clip, width, height, faceHeight, spoiling);
                        }});
    };
    for (const int share : {35, 25, 15, 10, 7, 5}) {
        everywhere("height " + std::to_string(share) + " %", kWidth, kHeight,
                   share * kHeight / 100.0, {.noise = 2});
    }
    // As wide as sixty pixels.
    everywhere("640x480, face 60 px", 640, 480, 60 * kFaceHeight / 183, {.noise = 2});
    everywhere("light x .05", kWidth, kHeight, near, {.light = 0.05, .noise = 0.5});
    everywhere("shadow to one side", kWidth, kHeight, near, {.noise = 2, .shadow = 0.1});
    everywhere("blur 3 px", kWidth, kHeight, far, {.blur = 3, .noise = 2});
    everywhere("mask", kWidth, kHeight, near, {.noise = 2, .mask = true});
    for (const double noise : {2.0, 4.0}) {
        const std::string text = " % noise " + std::to_string(std::lround(noise));
        rows.push_back({"still 35" + text,
                        [=, &clip](const std::string& row) { still(row, clip, near, noise); }});
        rows.push_back({"still 20" + text,
                        [=, &clip](const std::string& row) { still(row, clip, far, noise); }});
    }
    rows.push_back({"nobody", nobody});
    rows.push_back(
        {"leaves 35 %", [=, &clip](const std::string& row) { leaves(row, clip, near); }});
    rows.push_back(
        {"leaves 10 %", [=, &clip](const std::string& row) { leaves(row, clip, 0.1 * kHeight); }});
    rows.push_back({"newcomer after 20 %",
                    [=, &clip](const std::string& row) { newcomer(row, clip, far, near); }});
    rows.push_back({"newcomer after 10 %", [=, &clip](const std::string& row) {
                        newcomer(row, clip, 0.1 * kHeight, near);
                    }});
    rows.push_back(
        {"two, 620 px apart", [=, &clip](const std::string& row) { two(row, clip, 620, near); }});
    rows.push_back({"two, 260 px apart",
                    [=, &clip](const std::string& row) { two(row, clip, 260, 0.18 * kHeight); }});
    rows.push_back({"step", [&clip](const std::string& row) { step(row, clip); }});
    rows.push_back({"one frame 720p", [&clip](const std::string& row) { cost(row, clip); }});
    return rows;
}

}  // namespace
}  // namespace velmaro::faces

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr,
                     "usage: benchmark_faces CLIP.i420 ANGLES.csv [PART OF A ROW'S NAME]\n");
        return 2;
    }
    try {
        velmaro::faces::Clip clip(argv[1], argv[2]);
        for (const auto& row : velmaro::faces::rows(clip)) {
            if (argc < 4 || row.name.find(argv[3]) != std::string::npos) {
                row.measure(row.name);
            }
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "benchmark_faces: %s\n", error.what());
        return 1;
    }
}

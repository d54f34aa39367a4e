// Face landmarks of one 1280 x 720 frame, on one thread, against what the two networks alone take.
// Everything around the networks (shrinking, sampling, decoding, pose) shall cost no more than
// 0.35 of them. facemesh_720p measures both in turns and in time of the processor, so that other
// programs hardly change their ratio.

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "backends/facemesh/FaceAnalyzer.h"
#include "backends/facemesh/FaceMesh.h"
#include "backends/facemesh/Observation.h"
#include "backends/facemesh/Portrait.h"

namespace velmaro {
namespace {

using testing::Frame;
using testing::Portrait;

std::shared_ptr<const Frame> faceFrame() {
    return std::make_shared<const Frame>(Portrait().frame(1280, 720, 640, 340, 250));
}

double threadMilliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// What the work costs this thread. All of it runs here and never waits, so other programs, which
/// would stretch the time on the clock, do not enter.
template <typename Work>
double milliseconds(const Work& work) {
    const double start = threadMilliseconds();
    work();
    return threadMilliseconds() - start;
}

double median(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void facemesh_720p(benchmark::State& state) {
    auto created = FaceMesh::create(VELMARO_MODELS_DIR, nullptr);
    if (!created) {
        state.SkipWithError(created.error().description.c_str());
        return;
    }
    const auto frame = faceFrame();
    auto bare = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    // What the networks take depends on nothing in their inputs, but these are real ones.
    const std::size_t expected = bare.analyze(frame->view()).size();

    std::size_t faces = 0;
    const FaceLandmarks::Completion count = [&faces](const FaceLandmarks::Results& results,
                                                     const std::optional<Error>&) {
        faces = results->size();
    };
    std::vector<double> whole;
    std::vector<double> networks;
    for ([[maybe_unused]] auto _ : state) {
        whole.push_back(milliseconds([&] { (*created)->perform(frame, count); }));
        if (faces != 1 || expected != 1) {
            state.SkipWithError("the face was not found");
            return;
        }
        state.PauseTiming();
        networks.push_back(milliseconds([&] {
            benchmark::DoNotOptimize(bare.detector().network().run());
            benchmark::DoNotOptimize(bare.landmarkFinder().network().run());
        }));
        state.ResumeTiming();
    }
    state.counters["frame_ms"] = median(whole);
    state.counters["networks_ms"] = median(networks);
    state.counters["ratio"] = median(whole) / median(networks);
    state.counters["ratio_of_minima"] =
        *std::ranges::min_element(whole) / *std::ranges::min_element(networks);
}
BENCHMARK(facemesh_720p)->Unit(benchmark::kMillisecond);

void facemesh_720p_nobody(benchmark::State& state) {
    auto analyzer = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    const Frame frame(1280, 720);
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(analyzer.analyze(frame.view()).data());
    }
}
BENCHMARK(facemesh_720p_nobody)->Unit(benchmark::kMillisecond);

void letterbox_720p(benchmark::State& state) {
    const auto frame = faceFrame();
    facemesh::Letterbox letterbox(128);
    std::vector<float> square(std::size_t{128} * 128 * 3);
    for ([[maybe_unused]] auto _ : state) {
        letterbox.fill(frame->view(), {0, 0, 1280, 720}, square);
        benchmark::DoNotOptimize(square.data());
    }
}
BENCHMARK(letterbox_720p)->Unit(benchmark::kMicrosecond);

void warp_192(benchmark::State& state) {
    const auto frame = faceFrame();
    const facemesh::TurnedSquare square = {{640, 340}, 375, {0.995F, 0.0999F}};
    std::vector<float> cells(std::size_t{192} * 192 * 3);
    for ([[maybe_unused]] auto _ : state) {
        facemesh::warp(frame->view(), square, 192, cells);
        benchmark::DoNotOptimize(cells.data());
    }
}
BENCHMARK(warp_192)->Unit(benchmark::kMicrosecond);

void detector_network(benchmark::State& state) {
    auto analyzer = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(analyzer.detector().network().run());
    }
}
BENCHMARK(detector_network)->Unit(benchmark::kMicrosecond);

void landmark_network(benchmark::State& state) {
    auto analyzer = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(analyzer.landmarkFinder().network().run());
    }
}
BENCHMARK(landmark_network)->Unit(benchmark::kMicrosecond);

void pose(benchmark::State& state) {
    auto analyzer = facemesh::FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    const auto frame = faceFrame();
    const facemesh::Face face = analyzer.analyze(frame->view()).front();
    facemesh::Observation observation;
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(analyzer.poseEstimator().estimate(face.points));
        benchmark::DoNotOptimize(&observation.describe(face.points, 0, 1280, 720));
    }
}
BENCHMARK(pose)->Unit(benchmark::kMicrosecond);

void load_models(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        benchmark::DoNotOptimize(FaceMesh::create(VELMARO_MODELS_DIR, nullptr));
    }
}
BENCHMARK(load_models)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmaro

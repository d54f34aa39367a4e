// Starting and stopping the first live camera there is, as the program does it.

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "backends/cameras/LiveCameras.h"
#include "backends/gstreamer/Rig.h"

namespace {

using velmaro::gstreamer::CaptureOptions;
using velmaro::gstreamer::test::Clock;
using velmaro::gstreamer::test::eventually;
using velmaro::gstreamer::test::Rig;
using namespace std::chrono_literals;

struct Usage {
    double threads;
    double files;
    double kilobytes;

    static Usage settled() {
        std::this_thread::sleep_for(1s);
        const auto entries = [](const char* folder) {
            return static_cast<double>(
                std::distance(std::filesystem::directory_iterator(folder), {}));
        };
        double all = 0;
        double resident = 0;
        std::ifstream("/proc/self/statm") >> all >> resident;
        return {entries("/proc/self/task"), entries("/proc/self/fd"),
                resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024};
    }
};

/// From the press on start to the first frame in the handler, and what two hundred rounds leave.
void startToFirstFrame(benchmark::State& state) {
    // The allocator gives threads that come an arena each, until there are eight for each
    // processor, which would look like growth.
    ::mallopt(M_ARENA_MAX, 1);
    Rig rig([](velmaro::NotificationCenter& notificationCenter, velmaro::Diagnostics& diagnostics) {
        CaptureOptions options;
        options.cameras = velmaro::cameras::makeLiveCameras(notificationCenter, diagnostics, 5s);
        return options;
    });
    const auto camera = rig.device();
    std::vector<double> milliseconds;
    Usage before{};
    for ([[maybe_unused]] auto _ : state) {
        const std::size_t frames = rig.recorder->count();
        const auto begin = Clock::now();
        if (!rig.setUp(camera).empty()) {
            throw std::runtime_error("the camera cannot be set up");
        }
        rig.session->startRunning();
        if (!eventually([&] { return rig.recorder->count() > frames; })) {
            throw std::runtime_error("no frame came");
        }
        const auto took = rig.recorder->frames().at(frames).time - begin;
        state.SetIterationTime(std::chrono::duration<double>(took).count());
        milliseconds.push_back(std::chrono::duration<double, std::milli>(took).count());
        rig.session->stopRunning();
        if (milliseconds.size() == 10) {
            before = Usage::settled();
        }
    }
    const Usage after = Usage::settled();
    std::ranges::sort(milliseconds);
    state.counters["median_ms"] = milliseconds.at(milliseconds.size() / 2);
    state.counters["worst_ms"] = milliseconds.back();
    state.counters["threads"] = after.threads - before.threads;
    state.counters["files"] = after.files - before.files;
    state.counters["kilobytes"] = after.kilobytes - before.kilobytes;
}
BENCHMARK(startToFirstFrame)->UseManualTime()->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace

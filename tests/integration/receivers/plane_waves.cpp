// plane_waves CLIENT: sends three first-order plane waves, from the front, the left and above,
// through the JACK client whose name holds CLIENT, and prints ten times a second where each comes
// from afterwards: one line of azimuth (to the left) and elevation (upward) in degrees, three
// times.

#include <jack/jack.h>
#include <jack/ringbuffer.h>

#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <string>
#include <thread>

namespace {

constexpr std::size_t kChannels = 4;
constexpr std::size_t kWaves = 3;
/// In samples. The waves have tones of their own, so that all three can be told apart at once.
constexpr std::array<int, kWaves> kPeriods{48, 32, 24};
/// Whole periods of every tone, so that no tone leaks into another's sum.
constexpr int kWindow = 4800;
/// Ambisonic channel order W, Y, Z, X with SN3D weights.
constexpr std::array<std::array<float, kChannels>, kWaves> kGains{
    {{1, 0, 0, 1}, {1, 1, 0, 0}, {1, 0, 1, 0}}};
constexpr float kAmplitude = 0.2F;

using Sums = std::array<std::array<std::complex<double>, kChannels>, kWaves>;
using Ports = std::array<jack_port_t*, kChannels>;

volatile std::sig_atomic_t isEnding = 0;

struct Measurement {
    Ports inputs{};
    Ports outputs{};
    int sample = 0;
    Sums sums{};
    /// Finished sums on their way to the printing thread.
    jack_ringbuffer_t* finished = jack_ringbuffer_create(16 * sizeof(Sums));
};

double phase(std::size_t wave, int sample) {
    const int period = kPeriods[wave];
    return 2 * std::numbers::pi * (sample % period) / period;
}

int process(jack_nframes_t frames, void* context) {
    auto& measurement = *static_cast<Measurement*>(context);
    std::array<float*, kChannels> in{};
    std::array<float*, kChannels> out{};
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        in[channel] =
            static_cast<float*>(jack_port_get_buffer(measurement.inputs[channel], frames));
        out[channel] =
            static_cast<float*>(jack_port_get_buffer(measurement.outputs[channel], frames));
        std::memset(out[channel], 0, frames * sizeof(float));
    }
    for (jack_nframes_t frame = 0; frame < frames; ++frame) {
        for (std::size_t wave = 0; wave < kWaves; ++wave) {
            const double angle = phase(wave, measurement.sample);
            const auto tone = static_cast<float>(kAmplitude * std::sin(angle));
            for (std::size_t channel = 0; channel < kChannels; ++channel) {
                out[channel][frame] += kGains[wave][channel] * tone;
                measurement.sums[wave][channel] +=
                    static_cast<double>(in[channel][frame]) * std::polar(1.0, -angle);
            }
        }
        if (++measurement.sample == kWindow) {
            measurement.sample = 0;
            if (jack_ringbuffer_write_space(measurement.finished) >= sizeof(Sums)) {
                jack_ringbuffer_write(measurement.finished,
                                      reinterpret_cast<const char*>(&measurement.sums),
                                      sizeof(Sums));
            }
            measurement.sums = {};
        }
    }
    return 0;
}

/// Connects the first four ports of the client in one direction; false if it has not that many.
bool connect(jack_client_t* jack, const char* client, unsigned long flags, const Ports& ours) {
    const char** const theirs = jack_get_ports(jack, client, JACK_DEFAULT_AUDIO_TYPE, flags);
    std::size_t connected = 0;
    for (; theirs != nullptr && connected < kChannels && theirs[connected] != nullptr;
         ++connected) {
        const char* const own = jack_port_name(ours[connected]);
        const bool isInput = (flags & JackPortIsInput) != 0;
        jack_connect(jack, isInput ? own : theirs[connected], isInput ? theirs[connected] : own);
    }
    jack_free(theirs);
    return connected == kChannels;
}

void print(const Sums& sums) {
    constexpr double kDegrees = 180 / std::numbers::pi;
    for (const auto& channels : sums) {
        // What a channel has in phase with W is the wave's direction along that axis.
        const auto along = [&](std::size_t channel) {
            return std::real(channels[channel] * std::conj(channels[0]));
        };
        const double y = along(1);
        const double z = along(2);
        const double x = along(3);
        std::printf("%.3f %.3f ", std::atan2(y, x) * kDegrees,
                    std::atan2(z, std::hypot(x, y)) * kDegrees);
    }
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: plane_waves CLIENT\n");
        return 2;
    }
    std::signal(SIGTERM, [](int) { isEnding = 1; });
    jack_client_t* const jack = jack_client_open("plane_waves", JackNoStartServer, nullptr);
    if (jack == nullptr) {
        std::fprintf(stderr, "no JACK server\n");
        return 1;
    }
    Measurement measurement;
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const std::string number = std::to_string(channel);
        measurement.inputs[channel] = jack_port_register(
            jack, ("in" + number).c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
        measurement.outputs[channel] = jack_port_register(
            jack, ("out" + number).c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    }
    jack_set_process_callback(jack, process, &measurement);
    jack_activate(jack);
    if (!connect(jack, argv[1], JackPortIsInput, measurement.outputs) ||
        !connect(jack, argv[1], JackPortIsOutput, measurement.inputs)) {
        std::fprintf(stderr, "no client like %s with four inputs and outputs\n", argv[1]);
        return 1;
    }
    while (isEnding == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        while (jack_ringbuffer_read_space(measurement.finished) >= sizeof(Sums)) {
            Sums sums;
            jack_ringbuffer_read(measurement.finished, reinterpret_cast<char*>(&sums), sizeof sums);
            print(sums);
        }
    }
    // The server waits long for a client that ends without a word.
    jack_client_close(jack);
    return 0;
}

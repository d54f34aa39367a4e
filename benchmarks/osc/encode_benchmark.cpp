#include <benchmark/benchmark.h>
#include <lo/lo.h>
#include <oscpack/osc/OscOutboundPacketStream.h>

#include <array>
#include <cstddef>
#include <memory_resource>

#include "osc/OSCMessage.h"

// One message "/ypr" with three floats, built anew from values that the compiler cannot foresee.
namespace {

std::array<float, 3> angles() {
    std::array<float, 3> values{10.0F, -5.0F, 0.5F};
    benchmark::DoNotOptimize(values);
    return values;
}

/// As the sender does it.
void encode_ypr(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        std::array<std::byte, 256> buffer;
        std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
        const auto message = velmaro::createOSCMessage("/ypr", angles(), &memory);
        benchmark::DoNotOptimize(message.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(encode_ypr);

/// Into a buffer that stays.
void encode_ypr_oscpack(benchmark::State& state) {
    std::array<char, 256> buffer;
    for ([[maybe_unused]] auto _ : state) {
        const std::array<float, 3> values = angles();
        osc::OutboundPacketStream stream(buffer.data(), buffer.size());
        stream << osc::BeginMessage("/ypr") << values[0] << values[1] << values[2]
               << osc::EndMessage;
        benchmark::DoNotOptimize(stream.Data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(encode_ypr_oscpack);

void encode_ypr_liblo(benchmark::State& state) {
    std::array<char, 256> buffer;
    for ([[maybe_unused]] auto _ : state) {
        const std::array<float, 3> values = angles();
        const lo_message message = lo_message_new();
        for (const float value : values) {
            lo_message_add_float(message, value);
        }
        std::size_t size = buffer.size();
        benchmark::DoNotOptimize(lo_message_serialise(message, "/ypr", buffer.data(), &size));
        benchmark::ClobberMemory();
        lo_message_free(message);
    }
}
BENCHMARK(encode_ypr_liblo);

}  // namespace

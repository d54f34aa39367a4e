#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "Detector.h"
#include "backends/facemesh/Portrait.h"
#include "backends/networks/Model.h"
#include "backends/networks/NeuralNetwork.h"

// A damaged model is caught by its checksum; these tests go behind it. Whatever the bytes are, the
// reader gives a model or an error. Memory errors show under the sanitizers.

namespace velmaro::networks {
namespace {

enum class Outcome { refused, read };

Outcome read(std::span<const std::byte> file) {
    return readModel(file).and_then(NeuralNetwork::create) ? Outcome::read : Outcome::refused;
}

/// The parts of the file that are not weights, which hold all structure: the weights are the long
/// stretches between the tables.
std::vector<std::size_t> structure(const std::vector<std::byte>& file) {
    // In this file the buffers come first and the graph stands in the last tenth.
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < 1024; ++i) {
        places.push_back(i);
    }
    for (std::size_t i = file.size() - file.size() / 9; i < file.size(); ++i) {
        places.push_back(i);
    }
    return places;
}

TEST(DamagedModel, EveryTruncationIsRefused) {
    const auto file = detector();
    ASSERT_EQ(read(file), Outcome::read);
    for (std::size_t length = 0; length < file.size(); length += 331) {
        // A copy of its own length, so that the sanitizer sees a read beyond it.
        const std::vector<std::byte> part(file.begin(),
                                          file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(read(part), Outcome::refused) << length;
    }
}

TEST(DamagedModel, FlippedBytesNeverCrash) {
    const auto file = detector();
    const auto places = structure(file);
    std::mt19937 random(11);
    int refused = 0;
    constexpr int kRounds = 600;
    for (int round = 0; round < kRounds; ++round) {
        auto altered = file;
        for (int flips = 0; flips < 3; ++flips) {
            altered[places[random() % places.size()]] ^= static_cast<std::byte>(1 + random() % 255);
        }
        refused += read(altered) == Outcome::refused ? 1 : 0;
    }
    EXPECT_GT(refused, kRounds / 10) << "the flips miss what matters";
}

TEST(DamagedModel, ExtremeNumbersNeverCrash) {
    const auto file = detector();
    const auto places = structure(file);
    std::mt19937 random(12);
    constexpr std::uint32_t extremes[] = {0, 1, 0x7fffffff, 0x80000000, 0xffffffff, 0x10000};
    for (int round = 0; round < 400; ++round) {
        auto altered = file;
        const std::size_t at = places[random() % places.size()] & ~std::size_t{3};
        const std::uint32_t number = extremes[random() % std::size(extremes)];
        if (at + 4 <= altered.size()) {
            std::memcpy(altered.data() + at, &number, 4);
        }
        read(altered);
    }
}

}  // namespace
}  // namespace velmaro::networks

#include "backends/facemesh/ModelStore.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string>

namespace velmaro::facemesh {
namespace {

struct KnownFile {
    std::string_view name;
    std::size_t size;
    std::string_view sha256;
};

/// tools/fetch-models knows the same sums.
constexpr std::array<KnownFile, 3> kKnownFiles = {{
    {kDetectorFile, 229032, "3bc182eb9f33925d9e58b5c8d59308a760f4adea8f282370e428c51212c26633"},
    {kLandmarkFile, 1241896, "c603fa6149219a3e9487dc9abd7a0c24474c77263273d24868378cdf40aa26d1"},
    {kCanonicalFaceFile, 19376, "bdbcda96dfcb7da883da124aaa2c55dee49770d934f0fcc71747f8c21bdc75b4"},
}};

const KnownFile* known(std::string_view name) {
    const auto* file = std::ranges::find(kKnownFiles, name, &KnownFile::name);
    return file == kKnownFiles.end() ? nullptr : file;
}

bool isGenuine(const std::vector<std::byte>& bytes, const KnownFile& file) {
    if (bytes.size() != file.size) {
        return false;
    }
    const std::unique_ptr<gchar, decltype(&g_free)> sum(
        g_compute_checksum_for_data(G_CHECKSUM_SHA256,
                                    reinterpret_cast<const guchar*>(bytes.data()), bytes.size()),
        g_free);
    return sum && file.sha256 == sum.get();
}

}  // namespace

Result<std::vector<std::byte>> loadModelFile(const std::filesystem::path& models,
                                             std::string_view name) {
    const KnownFile* const file = known(name);
    if (!file) {
        return failure("no face model is called " + std::string(name));
    }
    const std::filesystem::path path = models / name;
    const auto unusable = [&path](const std::string& why) {
        return failure("face model " + path.string() + " " + why +
                       ": ./run fetches it again, and so does tools/fetch-models " +
                       path.parent_path().string());
    };
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        std::error_code ignored;
        return unusable(std::filesystem::exists(path, ignored) ? "cannot be read" : "is missing");
    }
    // One byte more than expected, so that a longer file shows.
    std::vector<std::byte> bytes(file->size + 1);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    if (!isGenuine(bytes, *file)) {
        return unusable("is damaged");
    }
    return bytes;
}

}  // namespace velmaro::facemesh

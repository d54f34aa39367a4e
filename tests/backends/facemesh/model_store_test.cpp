#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "backends/facemesh/ModelStore.h"
#include "backends/facemesh/Portrait.h"

namespace velmaro::facemesh {
namespace {

namespace fs = std::filesystem;

/// A copy of the models that a test may spoil.
class ModelStore : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "velmaro-models-XXXXXX").string();
        ASSERT_TRUE(mkdtemp(pattern.data()));
        folder = pattern;
        for (const std::string_view name : {kDetectorFile, kLandmarkFile, kCanonicalFaceFile}) {
            fs::copy_file(fs::path(VELMARO_MODELS_DIR) / name, folder / name);
        }
    }
    void TearDown() override { fs::remove_all(folder); }

    [[nodiscard]] std::string failure(std::string_view name) const {
        const auto file = loadModelFile(folder, name);
        return file ? "" : file.error().description;
    }

    fs::path folder;
};

TEST_F(ModelStore, LoadsWhatWasFetched) {
    EXPECT_EQ(loadModelFile(folder, kDetectorFile).value().size(), 229032U);
    EXPECT_EQ(loadModelFile(folder, kLandmarkFile).value().size(), 1241896U);
    EXPECT_EQ(loadModelFile(folder, kCanonicalFaceFile).value().size(), 19376U);
}

TEST_F(ModelStore, AMissingFileNamesTheRemedy) {
    fs::remove(folder / kLandmarkFile);
    EXPECT_EQ(failure(kLandmarkFile), "face model " + (folder / kLandmarkFile).string() +
                                          " is missing: ./run fetches it again, and so does "
                                          "tools/fetch-models " +
                                          folder.string());
}

TEST_F(ModelStore, ATruncatedFileIsDamaged) {
    fs::resize_file(folder / kDetectorFile, 229031);
    EXPECT_THAT(failure(kDetectorFile), ::testing::HasSubstr("is damaged: ./run"));
    fs::resize_file(folder / kDetectorFile, 0);
    EXPECT_THAT(failure(kDetectorFile), ::testing::HasSubstr("is damaged"));
}

TEST_F(ModelStore, ALongerFileIsDamaged) {
    std::ofstream(folder / kDetectorFile, std::ios::app) << 'x';
    EXPECT_THAT(failure(kDetectorFile), ::testing::HasSubstr("is damaged"));
}

TEST_F(ModelStore, OneChangedBitIsDamage) {
    std::fstream file(folder / kCanonicalFaceFile, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(1000);
    const auto byte = static_cast<char>(file.get() ^ 1);
    file.seekp(1000);
    file.put(byte);
    file.close();
    EXPECT_THAT(failure(kCanonicalFaceFile), ::testing::HasSubstr("is damaged"));
}

TEST_F(ModelStore, AFolderInItsPlaceIsAnErrorToo) {
    fs::remove(folder / kDetectorFile);
    fs::create_directory(folder / kDetectorFile);
    EXPECT_THAT(failure(kDetectorFile), ::testing::HasSubstr("tools/fetch-models"));
}

}  // namespace
}  // namespace velmaro::facemesh

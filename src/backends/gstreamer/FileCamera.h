#pragma once

#include <string>

namespace velmaro::gstreamer {

/// Whether a file begins again at its end.
enum class Playback { looped, once };

/// A video or picture that plays a camera.
struct FileCamera {
    std::string path;
    std::string uniqueID;
    std::string localizedName;

    /// Called by its path as the user wrote it: "file:" and the path; its name is the file's own.
    /// Control characters in it are shown by their codes, so that both stay on one line.
    static FileCamera fromPath(const std::string& path);
};

}  // namespace velmaro::gstreamer

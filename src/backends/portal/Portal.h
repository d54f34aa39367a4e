#pragma once

#include <gio/gio.h>

#include <string>

namespace velmaro::portal {

inline constexpr const char* kName = "org.freedesktop.portal.Desktop";
inline constexpr const char* kPath = "/org/freedesktop/portal/desktop";
inline constexpr const char* kRequest = "org.freedesktop.portal.Request";
/// What the portal says of a request that was granted (org.freedesktop.portal.Request, "Response").
inline constexpr guint32 kGranted = 0;
/// Milliseconds until the portal must have taken a call, which may have to start it first. What it
/// asks a person is not limited.
inline constexpr int kCallLimit = 10'000;

/// The object that stands for a request of the connection called `ownName`, which is known before
/// the call is made, so that no answer can be missed.
[[nodiscard]] std::string requestPath(const std::string& ownName, const std::string& token);

}  // namespace velmaro::portal

#pragma once

#include <glib.h>

#include <functional>
#include <optional>
#include <string>

#include "backends/posix/FileDescriptor.h"

namespace velmaro::cameras {

/// Notices when PipeWire's daemon goes and comes, which GStreamer's provider of its cameras does
/// not: holds a connection that says nothing and watches the folder of the socket. Nothing is asked
/// in a loop, except that a lost daemon is tried again for a few seconds, ever more slowly. Used on
/// the thread of `context`, which also runs the callbacks.
class PipeWireLink {
public:
    struct Events {
        std::function<void()> appeared;
        std::function<void()> lost;
        /// It did not come back soon after the loss.
        std::function<void()> stayedAway;
    };

    /// `socket` is the daemon's; empty if there is no place for one.
    PipeWireLink(GMainContext* context, std::string socket, Events events);
    PipeWireLink(const PipeWireLink&) = delete;
    PipeWireLink& operator=(const PipeWireLink&) = delete;
    ~PipeWireLink();

    /// Begins to watch. True if the daemon is there, which is then not told by `appeared`.
    bool begin();

private:
    static gboolean socketEvent(int descriptor, GIOCondition condition, gpointer self);
    static gboolean folderEvent(int descriptor, GIOCondition condition, gpointer self);
    static gboolean retry(gpointer self);

    [[nodiscard]] bool connect();
    void watchFolder();
    void retryLater();
    void disconnect();

    GMainContext* const context_;
    const std::string socket_;
    const Events events_;
    std::optional<FileDescriptor> connection_;
    std::optional<FileDescriptor> folder_;
    GSource* connectionSource_ = nullptr;
    GSource* folderSource_ = nullptr;
    GSource* retrySource_ = nullptr;
    guint delay_ = 0;
};

}  // namespace velmaro::cameras

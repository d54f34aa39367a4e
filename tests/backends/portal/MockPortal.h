#pragma once

#include <gio/gio.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace velmaro::test {

/// A session bus of the test's own, with a portal that a test plays. The environment points at it
/// for as long as it lives.
class MockPortal {
public:
    enum class Camera { present, absent, locked };

    MockPortal();
    ~MockPortal();
    MockPortal(const MockPortal&) = delete;
    MockPortal& operator=(const MockPortal&) = delete;

    /// Appears on the bus; returns when it is there.
    void appear(Camera camera = Camera::present);
    void vanish();

    /// Waits for the next dialog, which is then open; false after some seconds.
    bool waitForDialog();
    /// Answers the open dialog.
    void answer(unsigned response);
    /// Waits until the asking side has closed its dialog.
    bool waitForClosing();
    /// As the permission store tells a change of its entry.
    void tellMemory(const std::string& table, const std::string& entry);

private:
    static void called(GDBusConnection* connection, const char* sender, const char* path,
                       const char* interface, const char* method, GVariant* parameters,
                       GDBusMethodInvocation* invocation, gpointer self);

    void accessCamera(const char* sender, GVariant* parameters, GDBusMethodInvocation* invocation);
    /// Runs `work` on the portal's thread and waits for it.
    void perform(const std::function<void()>& work);
    guint exportObject(const char* path, const char* interface);

    GTestDBus* const bus_;
    GMainContext* const context_ = g_main_context_new();
    std::atomic<bool> ending_ = false;

    std::mutex mutex_;
    std::condition_variable changed_;
    const std::function<void()>* work_ = nullptr;
    int dialogs_ = 0;
    int awaited_ = 0;
    int closings_ = 0;

    // The thread's own.
    GDBusConnection* connection_ = nullptr;
    Camera camera_ = Camera::present;
    std::string dialog_;

    std::thread thread_;
};

}  // namespace velmaro::test

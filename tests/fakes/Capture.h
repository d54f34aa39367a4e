#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Capture.h"

namespace velmaro::fakes {

class ScriptedDevice : public CaptureDevice {
public:
    ScriptedDevice(std::string uniqueID, std::string localizedName)
        : uniqueID_(std::move(uniqueID)), localizedName_(std::move(localizedName)) {}

    [[nodiscard]] const std::string& uniqueID() const override { return uniqueID_; }
    [[nodiscard]] const std::string& localizedName() const override { return localizedName_; }

private:
    std::string uniqueID_;
    std::string localizedName_;
};

inline std::shared_ptr<CaptureDevice> makeDevice(const std::string& uniqueID,
                                                 const std::string& localizedName) {
    return std::make_shared<ScriptedDevice>(uniqueID, localizedName);
}

struct ScriptedInput : CaptureDeviceInput {
    explicit ScriptedInput(std::shared_ptr<CaptureDevice> ofDevice) : device(std::move(ofDevice)) {}
    std::shared_ptr<CaptureDevice> device;
};

struct ScriptedConnectionState : CaptureConnection {
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    void setEnabled(bool value) override { enabled = value; }
    [[nodiscard]] bool isActive() const override { return active; }
    bool enabled = false;
    bool active = true;
};

struct ScriptedOutput : VideoDataOutput {
    void setVideoSettings(const VideoSettings& newSettings) override { settings = newSettings; }
    void setAlwaysDiscardsLateVideoFrames(bool value) override { discards = value; }
    void setSampleBufferDelegate(std::weak_ptr<SampleBufferDelegate> newDelegate,
                                 std::shared_ptr<DispatchQueue> newQueue) override {
        delegate = std::move(newDelegate);
        queue = std::move(newQueue);
    }
    [[nodiscard]] std::shared_ptr<CaptureConnection> connection() const override {
        return videoConnection;
    }

    VideoSettings settings;
    bool discards = false;
    std::weak_ptr<SampleBufferDelegate> delegate;
    std::shared_ptr<DispatchQueue> queue;
    std::shared_ptr<ScriptedConnectionState> videoConnection =
        std::make_shared<ScriptedConnectionState>();
};

/// Does what it is told and keeps a trace of the calls, in order.
class ScriptedSession : public CaptureSession {
public:
    explicit ScriptedSession(std::vector<std::string>& trace) : trace_(trace) {}

    [[nodiscard]] bool isRunning() const override { return running; }
    void startRunning() override {
        trace_.emplace_back("startRunning");
        if (onStart) {
            onStart();
        }
        running = starts;
    }
    void stopRunning() override {
        trace_.emplace_back("stopRunning");
        if (onStop) {
            onStop();
        }
        running = false;
    }
    void beginConfiguration() override { trace_.emplace_back("beginConfiguration"); }
    void commitConfiguration() override { trace_.emplace_back("commitConfiguration"); }
    [[nodiscard]] std::vector<std::shared_ptr<CaptureDeviceInput>> inputs() const override {
        return sessionInputs;
    }
    [[nodiscard]] std::vector<std::shared_ptr<VideoDataOutput>> outputs() const override {
        return sessionOutputs;
    }
    void removeInput(const std::shared_ptr<CaptureDeviceInput>& input) override {
        trace_.emplace_back("removeInput");
        std::erase(sessionInputs, input);
    }
    void removeOutput(const std::shared_ptr<VideoDataOutput>& output) override {
        trace_.emplace_back("removeOutput");
        std::erase(sessionOutputs, output);
    }
    [[nodiscard]] bool canAddInput(const std::shared_ptr<CaptureDeviceInput>&) const override {
        return acceptsInput;
    }
    void addInput(const std::shared_ptr<CaptureDeviceInput>& input) override {
        trace_.emplace_back("addInput");
        sessionInputs.push_back(input);
    }
    [[nodiscard]] bool canAddOutput(const std::shared_ptr<VideoDataOutput>&) const override {
        return acceptsOutput;
    }
    void addOutput(const std::shared_ptr<VideoDataOutput>& output) override {
        trace_.emplace_back("addOutput");
        sessionOutputs.push_back(output);
    }

    /// Called while a start and a stop are under way.
    std::function<void()> onStart;
    std::function<void()> onStop;
    bool running = false;
    bool starts = true;
    bool acceptsInput = true;
    bool acceptsOutput = true;
    std::vector<std::shared_ptr<CaptureDeviceInput>> sessionInputs;
    std::vector<std::shared_ptr<VideoDataOutput>> sessionOutputs;

private:
    std::vector<std::string>& trace_;
};

class ScriptedCapture : public Capture {
public:
    using Types = std::vector<CaptureDeviceType>;

    std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) override {
        queries.emplace_back(types.begin(), types.end());
        return answers[queries.back()];
    }
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override {
        if (onAuthorizationStatus) {
            onAuthorizationStatus();
        }
        return status;
    }
    void requestAccess(std::function<void(bool)> completion) override {
        pendingRequest = std::move(completion);
    }
    std::shared_ptr<CaptureSession> makeSession() override { return session; }
    Result<std::shared_ptr<CaptureDeviceInput>> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) override {
        trace.push_back("makeDeviceInput " + device->uniqueID());
        if (inputError) {
            return tl::unexpected(*inputError);
        }
        return std::make_shared<ScriptedInput>(device);
    }
    std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override {
        auto output = std::make_shared<ScriptedOutput>();
        if (!makesConnection) {
            output->videoConnection = nullptr;
        }
        madeOutputs.push_back(output);
        return output;
    }

    /// The answer of each of the three queries.
    void setLocal(std::vector<std::shared_ptr<CaptureDevice>> devices) {
        answers[{CaptureDeviceType::builtInWideAngleCamera, CaptureDeviceType::external}] =
            std::move(devices);
    }
    void setContinuity(std::vector<std::shared_ptr<CaptureDevice>> devices) {
        answers[{CaptureDeviceType::continuityCamera}] = std::move(devices);
    }
    void setExternal(std::vector<std::shared_ptr<CaptureDevice>> devices) {
        answers[{CaptureDeviceType::external}] = std::move(devices);
    }

    std::map<Types, std::vector<std::shared_ptr<CaptureDevice>>> answers;
    std::vector<Types> queries;
    AuthorizationStatus status = AuthorizationStatus::authorized;
    /// Called when the permission is asked for: the first step of a start.
    std::function<void()> onAuthorizationStatus;
    std::function<void(bool)> pendingRequest;
    std::optional<Error> inputError;
    bool makesConnection = true;
    std::vector<std::string> trace;
    std::shared_ptr<ScriptedSession> session = std::make_shared<ScriptedSession>(trace);
    std::vector<std::shared_ptr<ScriptedOutput>> madeOutputs;
};

}  // namespace velmaro::fakes

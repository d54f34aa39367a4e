#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "camera/CameraManager.h"
#include "fakes/Capture.h"
#include "fakes/Dispatch.h"
#include "fakes/Log.h"
#include "platform/NotificationCenter.h"

namespace velmaro {

/// A manager over scripted cameras, one of which is listed and selected.
class CameraManagerTest : public testing::Test {
protected:
    void makeManager() {
        manager = CameraManager::create(capture, center, dispatch, log);
        manager->statusHandler = [this](const std::string& text) { statuses.push_back(text); };
        log.take();
        capture.trace.clear();
    }

    std::shared_ptr<CaptureDevice> desk = fakes::makeDevice("desk", "Desk Camera");
    std::shared_ptr<CaptureDevice> wall = fakes::makeDevice("wall", "Wall Camera");
    std::shared_ptr<CaptureDevice> phone = fakes::makeDevice("phone", "Phone");

    fakes::HandCrankedDispatch dispatch;
    NotificationCenter center;
    fakes::ScriptedCapture capture;
    fakes::CapturedLog log;
    std::vector<std::string> statuses;
    std::shared_ptr<CameraManager> manager;
};

}  // namespace velmaro

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Network.h"

namespace velmaro::fakes {

/// Records what is asked of it and changes state only when a test says so, or cancels it. What it
/// keeps of the door's contract is tested together with the real one in tests/contract.
class ScriptedConnection : public UDPConnection {
public:
    ScriptedConnection(std::string toHost, Port toPort) : host(std::move(toHost)), port(toPort) {}

    void setStateUpdateHandler(StateUpdateHandler newHandler) override {
        note("setStateUpdateHandler");
        handler = std::move(newHandler);
        if (onHandlerSet) {
            onHandlerSet();
        }
    }
    void start(DispatchQueue& queue) override {
        note("start");
        startedOn = &queue;
        if (onStart) {
            onStart();
        }
        if (currentState == State::cancelled) {
            reportCancelled();
        }
    }
    [[nodiscard]] State state() const override { return currentState; }
    void send(std::span<const std::byte> content, const SendErrorHandler& onError) override {
        note("send");
        sent.emplace_back(content.begin(), content.end());
        errorHandlers.push_back(onError);
        const bool isDead = currentState == State::failed || currentState == State::cancelled;
        if (isDead && startedOn != nullptr && onError) {
            startedOn->async([onError] { onError({"dead", "dead"}); });
        }
    }
    void cancel() override {
        note("cancel");
        ++cancelCount;
        if (std::exchange(currentState, State::cancelled) != State::cancelled) {
            reportCancelled();
        }
    }

    /// Its handler is told at once.
    void enter(State state, const std::optional<Error>& error = std::nullopt) {
        currentState = state;
        if (handler) {
            handler(state, error);
        }
    }

    void note(const char* call) const {
        if (trace) {
            trace->emplace_back(call);
        }
    }

    std::string host;
    Port port;
    std::vector<std::string>* trace = nullptr;
    std::function<void()> onHandlerSet;
    std::function<void()> onStart;
    StateUpdateHandler handler;
    DispatchQueue* startedOn = nullptr;
    State currentState = State::setup;
    std::vector<std::vector<std::byte>> sent;
    std::vector<SendErrorHandler> errorHandlers;
    int cancelCount = 0;

private:
    void reportCancelled() const {
        if (startedOn != nullptr && handler) {
            startedOn->async([told = handler] { told(State::cancelled, std::nullopt); });
        }
    }
};

class ScriptedNetwork : public Network {
public:
    [[nodiscard]] std::optional<Port> makePort(std::uint16_t rawValue) const override {
        if (onMakePort) {
            onMakePort();
        }
        if (refusedPort == rawValue) {
            return std::nullopt;
        }
        return Port{rawValue};
    }
    std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host, Port port) override {
        connections.push_back(std::make_shared<ScriptedConnection>(host, port));
        connections.back()->trace = trace;
        connections.back()->onHandlerSet = onHandlerSet;
        connections.back()->onStart = onStart;
        connections.back()->note("makeUDPConnection");
        return connections.back();
    }

    std::optional<std::uint16_t> refusedPort;
    /// Where the calls of new connections are noted, if anywhere.
    std::vector<std::string>* trace = nullptr;
    /// Called while a port is made, and while a new connection is given its handler and started.
    std::function<void()> onMakePort;
    std::function<void()> onHandlerSet;
    std::function<void()> onStart;
    std::vector<std::shared_ptr<ScriptedConnection>> connections;
};

}  // namespace velmaro::fakes

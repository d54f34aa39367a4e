#pragma once

#include <QString>
#include <string>

#include "app/ReceiverMonitor.h"

namespace velmaro {

/// What a person should know about a field of the destination. Empty while all is well.
struct FieldNote {
    enum class Kind {
        none,
        /// What was typed is not yet where the datagrams go.
        pending,
        /// It cannot work, or does not.
        wrong,
    };
    Kind kind = Kind::none;
    QString text;

    bool operator==(const FieldNote&) const = default;
};

/// The fields as they are typed, and what has become of the datagrams.
struct DestinationState {
    std::string host;
    std::string port;
    std::string oscAddress;
    ReceiverMonitor::Status receiver;
};

[[nodiscard]] FieldNote noteOnHost(const DestinationState& state);
[[nodiscard]] FieldNote noteOnPort(const DestinationState& state);
[[nodiscard]] FieldNote noteOnOSCAddress(const DestinationState& state);

}  // namespace velmaro

#include "app/window/DestinationNotes.h"

#include <QCoreApplication>
#include <optional>
#include <string_view>

#include "osc/OSCManager.h"

namespace velmaro {
namespace {

/// Texts of the fields that a person types into.
struct Texts {
    Q_DECLARE_TR_FUNCTIONS(velmaro::DestinationNotes)
};

using Status = ReceiverMonitor::Status;
using Trouble = ReceiverMonitor::Trouble;

bool hasBlank(std::string_view text) {
    return text.find_first_of(" \t\n\r\f\v") != std::string_view::npos;
}

FieldNote wrong(const QString& text) {
    return {FieldNote::Kind::wrong, text};
}

QString nameOf(const Status::Target& target) {
    return Texts::tr("%1, port %2")
        .arg(QString::fromStdString(target.host))
        .arg(target.port.rawValue);
}

FieldNote pending(const Status& receiver) {
    // A connection that failed is made anew, to what is typed by then.
    if (receiver.trouble == Trouble::notFound) {
        return {};
    }
    return {FieldNote::Kind::pending,
            Texts::tr("Takes effect at the next start. Until then everything goes to %1.")
                .arg(nameOf(*receiver.target))};
}

FieldNote refused(const Status& receiver) {
    return wrong(Texts::tr("Nothing arrives at %1 (%2): start the receiver, or correct address "
                           "and port for the next start.")
                     .arg(nameOf(*receiver.target), QString::fromStdString(receiver.reason)));
}

}  // namespace

FieldNote noteOnHost(const DestinationState& state) {
    if (state.host.empty()) {
        return wrong(Texts::tr("There is no address: type that of the receiver."));
    }
    if (hasBlank(state.host)) {
        return wrong(Texts::tr("There is a blank in the address: remove it."));
    }
    const Status& receiver = state.receiver;
    if (!receiver.target) {
        return {};
    }
    if (receiver.trouble == Trouble::notFound && receiver.target->host == state.host) {
        return wrong(
            Texts::tr("“%1” cannot be reached (%2): correct the address.")
                .arg(QString::fromStdString(state.host), QString::fromStdString(receiver.reason)));
    }
    if (receiver.target->host != state.host) {
        return pending(receiver);
    }
    return receiver.trouble == Trouble::refused ? refused(receiver) : FieldNote{};
}

FieldNote noteOnPort(const DestinationState& state) {
    const std::optional<std::uint16_t> number = parsePort(state.port);
    if (!number) {
        return wrong(hasBlank(state.port)
                         ? Texts::tr("There is a blank in the port: remove it. Until then nothing "
                                     "is sent.")
                         : Texts::tr("This is no port: type a number from 1 to 65535. Until then "
                                     "nothing is sent."));
    }
    if (*number == 0) {
        return wrong(Texts::tr("Nobody can listen at port 0: type a number from 1 to 65535."));
    }
    const Status& receiver = state.receiver;
    if (!receiver.target) {
        return {};
    }
    if (receiver.target->port.rawValue != *number) {
        return pending(receiver);
    }
    return receiver.trouble == Trouble::refused ? refused(receiver) : FieldNote{};
}

FieldNote noteOnOSCAddress(const DestinationState& state) {
    if (hasBlank(state.oscAddress)) {
        return wrong(
            Texts::tr("There is a blank in the OSC address: remove it, since receivers "
                      "take it for a part of the address."));
    }
    if (!state.oscAddress.starts_with('/')) {
        return wrong(Texts::tr("An OSC address begins with a slash: type one such as /ypr."));
    }
    return {};
}

}  // namespace velmaro

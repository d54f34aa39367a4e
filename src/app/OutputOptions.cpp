#include "app/OutputOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <optional>

#include "receivers/Receivers.h"

namespace velmaro {
namespace {

const std::map<std::string, Axis, std::less<>> kAxesByName{
    {"pan", Axis::pan}, {"tilt", Axis::tilt}, {"roll", Axis::roll}};
constexpr std::array<const char*, kAxes> kAxisNames{"pan", "tilt", "roll"};
constexpr const char* kList = "list";

/// What was given, as it was written.
struct Given {
    std::string order;
    bool radians = false;
    bool split = false;
    std::vector<std::string> also;
};

/// The axes of a list with commas; nothing if one is none, or comes twice.
std::optional<std::vector<Axis>> parseAxes(const std::string& text) {
    std::vector<Axis> axes;
    for (const std::string& name : CLI::detail::split(text, ',')) {
        const auto found = kAxesByName.find(name);
        if (found == kAxesByName.end() || std::ranges::count(axes, found->second) > 0) {
            return std::nullopt;
        }
        axes.push_back(found->second);
    }
    return axes;
}

std::string requireReceiver(const std::string& text) {
    return text == kList || findReceiver(text) != nullptr
               ? ""
               : "'" + text + "' is no receiver: give " + receiverNames() + ", or list";
}

std::string requireAxes(const std::string& text) {
    return parseAxes(text) ? ""
                           : "'" + text +
                                 "' names no axes: give some of pan, tilt, roll, with commas "
                                 "between";
}

std::string requireOrder(const std::string& text) {
    const auto axes = parseAxes(text);
    return axes && axes->size() == kAxes ? ""
                                         : "'" + text +
                                               "' is no order: give each of pan, tilt, roll, with "
                                               "commas between";
}

std::string requireDestination(const std::string& text) {
    const auto parsed = parseDestination(text);
    return parsed ? "" : parsed.error().description;
}

Output outputOf(const Options& options, const Given& given) {
    Output output;
    const Receiver* const receiver = findReceiver(options.receiver);
    if (receiver != nullptr) {
        output.conversion = receiver->conversion;
    }
    if (given.split) {
        output.conversion.form = Conversion::Form::split;
    }
    output.conversion.radians = given.radians;
    if (const auto axes = parseAxes(given.order); axes && axes->size() == kAxes) {
        std::ranges::copy(*axes, output.conversion.order.begin());
    }
    // The head's own axes, so that a receiver's sign stands on top of this one.
    for (const Axis axis : parseAxes(options.flip).value_or(std::vector<Axis>())) {
        output.conversion.flip(axis);
    }
    for (const std::string& text : given.also) {
        if (const auto destination = parseDestination(text)) {
            output.further.push_back(*destination);
        }
    }
    return output;
}

}  // namespace

void addOutputOptions(CLI::App& app, Options& options) {
    const auto given = std::make_shared<Given>();
    app.add_option("--receiver", options.receiver,
                   "Send what this receiver wants, to its port and address (list: show all)")
        ->type_name("NAME")
        ->check(requireReceiver)
        ->excludes(app.get_option("--quaternion"));
    app.add_option("--flip", options.flip, "Turn axes of the head round, as in pan,tilt")
        ->type_name("AXES")
        ->check(requireAxes)
        ->excludes(app.get_option("--quaternion"));
    app.add_option("--order", given->order, "Send the angles in this order, as in roll,tilt,pan")
        ->type_name("AXES")
        ->check(requireOrder);
    app.add_flag("--radians", given->radians, "Send radians instead of degrees");
    app.add_flag("--split", given->split, "Send each angle on its own, as /yaw, /pitch and /roll");
    for (const char* const name : {"--order", "--radians", "--split"}) {
        app.get_option(name)
            ->excludes(app.get_option("--quaternion"))
            ->excludes(app.get_option("--receiver"));
    }
    app.add_option("--also", given->also, "Send the same to this receiver too (repeatable)")
        ->type_name("IP:PORT[/ADDRESS]")
        ->check(requireDestination)
        ->allow_extra_args(false);
    app.final_callback([&app, &options, given] {
        if (options.receiver == kList) {
            std::cout << receiverList();
            std::cout.flush();
            throw CLI::Success();
        }
        options.output = outputOf(options, *given);
        if (const Receiver* const receiver = findReceiver(options.receiver)) {
            if (app.count("--port") == 0) {
                options.port = std::to_string(receiver->port);
            }
            if (app.count("--osc") == 0) {
                options.oscMessage = receiver->address;
            }
        }
    });
}

std::string describeValues(const Options& options) {
    const Conversion& conversion = options.output.conversion;
    if (options.quaternionOutput) {
        return "w x y z";
    }
    if (conversion.form == Conversion::Form::quaternion) {
        return "w x y z of the field's turn";
    }
    std::string text;
    for (const Axis axis : conversion.order) {
        const auto index = static_cast<std::size_t>(axis);
        text.append(conversion.flipped[index] ? "-" : "").append(kAxisNames[index]).append(" ");
    }
    text.append(conversion.radians ? "in radians" : "in degrees");
    return conversion.form == Conversion::Form::split ? text + ", each on its own" : text;
}

}  // namespace velmaro

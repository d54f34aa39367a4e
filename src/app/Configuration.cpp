#include "app/Configuration.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>

#include "receivers/Receivers.h"

namespace velmaro {
namespace {

namespace fs = std::filesystem;

struct Kind {
    std::string_view name;
    bool isFlag = false;
    /// May have several values, which one argument holds with commas between.
    bool isList = false;
    /// May be given several times.
    bool isRepeatable = false;
};

/// All that can be kept, in the order in which it is written.
constexpr std::array kKinds{Kind{.name = "ip"},
                            Kind{.name = "port"},
                            Kind{.name = "osc"},
                            Kind{.name = "rate"},
                            Kind{.name = "receiver"},
                            Kind{.name = "flip", .isList = true},
                            Kind{.name = "also", .isRepeatable = true},
                            Kind{.name = "input"},
                            Kind{.name = "no-tilt", .isFlag = true},
                            Kind{.name = "quiet", .isFlag = true}};
constexpr const char* kOn = "true";
constexpr const char* kHeading =
    "# What velmaro and velmaro-cli start with: options without their dashes, one a line.\n"
    "# What is given on the command line wins. See velmaro-cli(1).\n";
constexpr std::uintmax_t kLargestFile = 1 << 20;

const Kind* kindOf(std::string_view name) {
    const auto* const found = std::ranges::find(kKinds, name, &Kind::name);
    return found == kKinds.end() ? nullptr : found;
}

std::string keptNames() {
    std::string names;
    for (const Kind& kind : kKinds) {
        names.append(names.empty() ? "" : ", ").append(kind.name);
    }
    return names;
}

Result<void> check(const Kind& kind, const std::vector<std::string>& values) {
    const std::string name(kind.name);
    if (values.size() != 1 && !kind.isRepeatable) {
        return failure(name + " takes one value");
    }
    if (kind.isFlag && values.front() != kOn && values.front() != "false") {
        return failure(name + ": '" + values.front() + "' is neither true nor false");
    }
    if (name == "receiver" && findReceiver(values.front()) == nullptr) {
        return failure(name + ": '" + values.front() + "' is no receiver: give " + receiverNames());
    }
    return {};
}

Result<std::vector<KeptOption>> parse(std::istream& text) {
    std::vector<KeptOption> kept;
    for (const CLI::ConfigItem& item : CLI::ConfigTOML().from_config(text)) {
        const Kind* const kind = kindOf(item.fullname());
        if (kind == nullptr) {
            return failure("'" + item.fullname() + "' is nothing that is kept: give " +
                           keptNames());
        }
        if (std::ranges::find(kept, item.name, &KeptOption::name) != kept.end()) {
            return failure(item.name + " stands there twice");
        }
        KeptOption option{.name = item.name, .values = item.inputs};
        if (kind->isList) {
            option.values = {CLI::detail::join(item.inputs, ",")};
        }
        if (const auto checked = check(*kind, option.values); !checked) {
            return tl::unexpected(checked.error());
        }
        kept.push_back(std::move(option));
    }
    return kept;
}

std::string describe(const Destination& destination) {
    const bool isVersion6 = destination.host.find(':') != std::string::npos;
    return (isVersion6 ? "[" + destination.host + "]" : destination.host) + ":" +
           std::to_string(destination.port) + destination.address;
}

std::string quoted(const std::string& value) {
    const bool isNumber =
        !value.empty() && value.find_first_not_of("0123456789") == std::string::npos;
    const char quote = value.find('"') == std::string::npos ? '"' : '\'';
    return isNumber ? value : quote + value + quote;
}

std::string line(const KeptOption& option) {
    const Kind& kind = *kindOf(option.name);
    if (kind.isFlag) {
        return option.name + " = " + option.values.front() + "\n";
    }
    std::string values;
    for (const std::string& value : option.values) {
        values.append(values.empty() ? "" : ", ").append(quoted(value));
    }
    return option.name + " = " + (kind.isRepeatable ? "[" + values + "]" : values) + "\n";
}

/// What differs from what a start has by itself.
std::vector<KeptOption> keptOptions(const Options& options) {
    const Options byItself;
    const Receiver* const receiver = findReceiver(options.receiver);
    std::vector<KeptOption> kept;
    const auto keep = [&kept](const char* name, const std::string& value,
                              const std::string& usual) {
        if (value != usual) {
            kept.push_back({name, {value}});
        }
    };
    keep("ip", options.ipAddress, byItself.ipAddress);
    keep("port", options.port,
         receiver != nullptr ? std::to_string(receiver->port) : byItself.port);
    keep("osc", options.oscMessage,
         receiver != nullptr ? std::string(receiver->address) : byItself.oscMessage);
    keep("rate", std::to_string(options.frameRate), std::to_string(byItself.frameRate));
    keep("receiver", options.receiver, "");
    keep("flip", options.flip, "");
    if (!options.output.further.empty()) {
        kept.push_back({"also", {}});
        std::ranges::transform(options.output.further, std::back_inserter(kept.back().values),
                               describe);
    }
    if (options.input && !isFileInput(*options.input)) {
        keep("input", *options.input, "");
    }
    keep("no-tilt", options.tiltEnabled ? "false" : kOn, "false");
    keep("quiet", options.quiet ? kOn : "false", "false");
    return kept;
}

}  // namespace

Result<std::vector<KeptOption>> readConfiguration(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::not_found) {
        return std::vector<KeptOption>();
    }
    if (error) {
        return failure(error.message());
    }
    // Others may never end.
    if (!fs::is_regular_file(status) || fs::file_size(file, error) > kLargestFile) {
        return failure("this is no file of settings");
    }
    std::ifstream text(file);
    if (!text) {
        return failure(std::strerror(errno));
    }
    return parse(text);
}

std::vector<std::string> arguments(std::span<const KeptOption> kept) {
    std::vector<std::string> arguments;
    for (const KeptOption& option : kept) {
        for (const std::string& value : option.values) {
            std::string& name = arguments.emplace_back("--" + option.name);
            if (value.empty()) {
                arguments.emplace_back();
            } else {
                name.append("=").append(value);
            }
        }
    }
    return arguments;
}

Result<std::string> configurationText(const Options& options) {
    std::string text = kHeading;
    for (const KeptOption& option : keptOptions(options)) {
        std::istringstream stream(line(option));
        const auto read = parse(stream);
        if (!read || *read != std::vector{option}) {
            return failure(option.name + ": '" + option.values.front() +
                           "' cannot be written down");
        }
        if (const auto checked = checkKept(*read); !checked) {
            return tl::unexpected(checked.error());
        }
        text += line(option);
    }
    return text;
}

bool isFileInput(const std::string& inputId) {
    return inputId == "camera_demo" || inputId.starts_with("camera_file:");
}

}  // namespace velmaro

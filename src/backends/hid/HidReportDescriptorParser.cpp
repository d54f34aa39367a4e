#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "backends/hid/HidItem.h"
#include "backends/hid/HidReportDescriptor.h"

namespace velmaro {
namespace {

/// As much as Linux accepts, and more than any head tracker needs.
constexpr std::size_t kMostReportBits = std::size_t{16384} * 8;
constexpr std::size_t kMostNesting = 32;

constexpr std::uint32_t kApplicationCollection = 1;
constexpr std::uint32_t kConstantFlag = 1;
constexpr std::uint32_t kVariableFlag = 2;

struct Globals {
    std::uint32_t usagePage = 0;
    HidItemData logicalMinimum;
    HidItemData logicalMaximum;
    HidItemData physicalMinimum;
    HidItemData physicalMaximum;
    int unitExponent = 0;
    std::uint32_t reportSize = 0;
    std::uint32_t reportCount = 0;
    std::uint8_t reportID = 0;
};

/// Some descriptors write a maximum of 255 in one byte, which by the letter is -1.
std::int64_t maximumFor(std::int64_t minimum, const HidItemData& maximum) {
    return minimum >= 0 ? std::int64_t{maximum.bits} : maximum.asSigned();
}

/// A signed half byte, which some descriptors write as a signed byte.
int exponentOf(const HidItemData& data) {
    if (data.bits <= 0xF) {
        return static_cast<int>(data.bits) - (data.bits > 7 ? 16 : 0);
    }
    return static_cast<int>(std::clamp<std::int64_t>(data.asSigned(), -8, 7));
}

class HidReportDescriptorParser {
public:
    explicit HidReportDescriptorParser(std::span<const std::uint8_t> bytes) : items_(bytes) {}

    Result<HidReportDescriptor> parse() {
        while (error_.empty() && !items_.isAtEnd()) {
            takeItem();
        }
        if (error_.empty() && !applications_.empty()) {
            error_ = "a collection does not end";
        }
        if (!error_.empty()) {
            return failure(error_);
        }
        return std::move(result_);
    }

private:
    void takeItem() {
        HidItem item;
        if (!items_.take(item)) {
            error_ = "it ends within an item";
            return;
        }
        switch (item.type()) {
            case HidItemType::main:
                takeMain(item.tag, item.data);
                // Local items last until the next main item.
                usages_.clear();
                usageMinimum_.reset();
                break;
            case HidItemType::global:
                takeGlobal(item.tag, item.data);
                break;
            case HidItemType::local:
                takeLocal(item.tag, item.data);
                break;
            case HidItemType::reserved:
                break;
        }
    }

    void takeMain(HidTag tag, const HidItemData& data) {
        switch (tag) {
            case HidTag::input:
                addField(HidReportKind::input, data.bits);
                break;
            case HidTag::output:
                addField(HidReportKind::output, data.bits);
                break;
            case HidTag::feature:
                addField(HidReportKind::feature, data.bits);
                break;
            case HidTag::collection:
                begin(data.bits);
                break;
            case HidTag::endCollection:
                if (applications_.empty()) {
                    error_ = "a collection ends that did not begin";
                } else {
                    applications_.pop_back();
                }
                break;
            default:
                break;
        }
    }

    void begin(std::uint32_t type) {
        if (applications_.size() == kMostNesting) {
            error_ = "its collections are nested too deeply";
            return;
        }
        const HidUsage outer = applications_.empty() ? 0 : applications_.back();
        const HidUsage usage = usages_.empty() ? 0 : withPage(usages_.front()).first;
        applications_.push_back(type == kApplicationCollection ? usage : outer);
    }

    void takeGlobal(HidTag tag, const HidItemData& data) {
        switch (tag) {
            case HidTag::usagePage:
                globals_.usagePage = data.bits & 0xFFFFU;
                break;
            case HidTag::logicalMinimum:
                globals_.logicalMinimum = data;
                break;
            case HidTag::logicalMaximum:
                globals_.logicalMaximum = data;
                break;
            case HidTag::physicalMinimum:
                globals_.physicalMinimum = data;
                break;
            case HidTag::physicalMaximum:
                globals_.physicalMaximum = data;
                break;
            case HidTag::unitExponent:
                globals_.unitExponent = exponentOf(data);
                break;
            case HidTag::reportSize:
                globals_.reportSize = data.bits;
                break;
            case HidTag::reportCount:
                globals_.reportCount = data.bits;
                break;
            case HidTag::reportID:
                beginReport(data.bits);
                break;
            case HidTag::push:
                push();
                break;
            case HidTag::pop:
                pop();
                break;
            default:
                break;
        }
    }

    void beginReport(std::uint32_t id) {
        if (id == 0 || id > 0xFF) {
            error_ = "a report id is out of range";
        }
        if (!result_.hasReportIDs && !result_.fields.empty()) {
            error_ = "some reports have an id and some have none";
        }
        globals_.reportID = static_cast<std::uint8_t>(id);
        result_.hasReportIDs = true;
    }

    void push() {
        if (pushed_.size() == kMostNesting) {
            error_ = "it pushes too often";
        } else {
            pushed_.push_back(globals_);
        }
    }

    void pop() {
        if (pushed_.empty()) {
            error_ = "it pops what it did not push";
        } else {
            globals_ = pushed_.back();
            pushed_.pop_back();
        }
    }

    void takeLocal(HidTag tag, const HidItemData& data) {
        const LocalUsage usage{.bits = data.bits, .hasPage = data.size == 4};
        if (tag == HidTag::usage) {
            usages_.push_back({usage, usage});
        } else if (tag == HidTag::usageMinimum) {
            usageMinimum_ = usage;
        } else if (tag == HidTag::usageMaximum && usageMinimum_) {
            usages_.push_back({*usageMinimum_, usage});
            usageMinimum_.reset();
        }
    }

    void addField(HidReportKind kind, std::uint32_t flags) {
        const std::uint8_t id = globals_.reportID;
        // The byte of the id comes first.
        const std::size_t offset = bits_.try_emplace({kind, id}, id == 0 ? 0 : 8).first->second;
        const std::uint64_t size = std::uint64_t{globals_.reportSize} * globals_.reportCount;
        if (size > kMostReportBits - offset) {
            error_ = "a report is too long";
            return;
        }
        bits_[{kind, id}] = offset + static_cast<std::size_t>(size);
        HidField field;
        field.kind = kind;
        field.reportID = id;
        field.bitOffset = offset;
        field.bitSize = globals_.reportSize;
        field.count = globals_.reportCount;
        field.isVariable = (flags & kVariableFlag) != 0;
        field.isConstant = (flags & kConstantFlag) != 0;
        field.application = applications_.empty() ? 0 : applications_.back();
        std::transform(usages_.begin(), usages_.end(), std::back_inserter(field.usages),
                       [this](const auto& range) { return withPage(range); });
        field.logicalMinimum = globals_.logicalMinimum.asSigned();
        field.logicalMaximum = maximumFor(field.logicalMinimum, globals_.logicalMaximum);
        field.physicalMinimum = globals_.physicalMinimum.asSigned();
        field.physicalMaximum = maximumFor(field.physicalMinimum, globals_.physicalMaximum);
        field.unitExponent = globals_.unitExponent;
        result_.fields.push_back(std::move(field));
    }

    struct LocalUsage {
        std::uint32_t bits = 0;
        bool hasPage = false;
    };

    /// The page that counts is the one in force at the main item.
    [[nodiscard]] HidUsageRange withPage(const std::pair<LocalUsage, LocalUsage>& range) const {
        const auto complete = [this](const LocalUsage& usage) {
            return usage.hasPage ? usage.bits : globals_.usagePage << 16 | usage.bits;
        };
        return {complete(range.first), complete(range.second)};
    }

    HidItemReader items_;
    Globals globals_;
    std::vector<Globals> pushed_;
    std::vector<std::pair<LocalUsage, LocalUsage>> usages_;
    std::optional<LocalUsage> usageMinimum_;
    /// One for each open collection: the application that it belongs to.
    std::vector<HidUsage> applications_;
    std::map<std::pair<HidReportKind, std::uint8_t>, std::size_t> bits_;
    HidReportDescriptor result_;
    std::string error_;
};

}  // namespace

Result<HidReportDescriptor> parseHidReportDescriptor(std::span<const std::uint8_t> bytes) {
    return HidReportDescriptorParser(bytes).parse();
}

}  // namespace velmaro

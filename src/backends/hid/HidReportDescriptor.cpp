#include "backends/hid/HidReportDescriptor.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace velmaro {
namespace {

/// As much as Linux accepts, and more than any head tracker needs.
constexpr std::size_t kMostReportBits = 16384 * 8;
constexpr std::size_t kMostNesting = 32;

/// A prefix byte without the two bits of its size.
enum Item : std::uint8_t {
    kInput = 0x80,
    kOutput = 0x90,
    kCollection = 0xA0,
    kFeature = 0xB0,
    kEndCollection = 0xC0,
    kUsagePage = 0x04,
    kLogicalMinimum = 0x14,
    kLogicalMaximum = 0x24,
    kPhysicalMinimum = 0x34,
    kPhysicalMaximum = 0x44,
    kUnitExponent = 0x54,
    kReportSize = 0x74,
    kReportID = 0x84,
    kReportCount = 0x94,
    kPush = 0xA4,
    kPop = 0xB4,
    kUsage = 0x08,
    kUsageMinimum = 0x18,
    kUsageMaximum = 0x28,
};
constexpr std::uint8_t kLongItem = 0xFE;
constexpr std::uint32_t kApplicationCollection = 1;
constexpr std::uint32_t kConstantFlag = 1;
constexpr std::uint32_t kVariableFlag = 2;

/// The data of a short item, whose sign only its meaning tells.
struct Data {
    std::uint32_t bits = 0;
    unsigned size = 0;

    [[nodiscard]] std::int64_t asSigned() const {
        const unsigned width = size * 8;
        const std::int64_t value = bits;
        return width > 0 && (bits >> (width - 1)) != 0 ? value - (std::int64_t{1} << width) : value;
    }
};

struct Globals {
    std::uint32_t usagePage = 0;
    Data logicalMinimum;
    Data logicalMaximum;
    Data physicalMinimum;
    Data physicalMaximum;
    int unitExponent = 0;
    std::uint32_t reportSize = 0;
    std::uint32_t reportCount = 0;
    std::uint8_t reportID = 0;
};

/// Some descriptors write a maximum of 255 in one byte, which by the letter is -1.
std::int64_t maximumFor(std::int64_t minimum, const Data& maximum) {
    return minimum >= 0 ? std::int64_t{maximum.bits} : maximum.asSigned();
}

/// A signed half byte, which some descriptors write as a signed byte.
int exponentOf(const Data& data) {
    if (data.bits <= 0xF) {
        return static_cast<int>(data.bits) - (data.bits > 7 ? 16 : 0);
    }
    return static_cast<int>(std::clamp<std::int64_t>(data.asSigned(), -8, 7));
}

class Parser {
public:
    explicit Parser(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    std::variant<HidReportDescriptor, std::string> parse() {
        while (error_.empty() && !rest_.empty()) {
            takeItem();
        }
        if (error_.empty() && !applications_.empty()) {
            error_ = "a collection does not end";
        }
        if (!error_.empty()) {
            return error_;
        }
        return std::move(result_);
    }

private:
    void takeItem() {
        const std::uint8_t prefix = rest_[0];
        const bool isLong = prefix == kLongItem;
        // Sizes of 0, 1, 2 and 4 bytes have the codes 0 to 3.
        const unsigned size = isLong               ? 0
                              : (prefix & 3U) == 3 ? 4
                                                   : static_cast<unsigned>(prefix & 3U);
        // A long item has its size and its tag in two bytes of their own; none is defined.
        const std::size_t length = isLong && rest_.size() > 1 ? 3U + rest_[1] : 1U + size;
        if (length > rest_.size() || (isLong && rest_.size() < 3)) {
            error_ = "it ends within an item";
            return;
        }
        Data data{.size = size};
        for (unsigned i = 0; i < size; ++i) {
            data.bits |= std::uint32_t{rest_[1 + i]} << (8 * i);
        }
        rest_ = rest_.subspan(length);
        if (!isLong) {
            take(static_cast<std::uint8_t>(prefix & 0xFCU), data);
        }
    }

    void take(std::uint8_t item, const Data& data) {
        switch (item & 0x0CU) {
            case 0x00:
                takeMain(item, data);
                // Local items last until the next main item.
                usages_.clear();
                usageMinimum_.reset();
                break;
            case 0x04:
                takeGlobal(item, data);
                break;
            case 0x08:
                takeLocal(item, data);
                break;
            default:
                break;
        }
    }

    void takeMain(std::uint8_t item, const Data& data) {
        switch (item) {
            case kInput:
                addField(HidReportKind::input, data.bits);
                break;
            case kOutput:
                addField(HidReportKind::output, data.bits);
                break;
            case kFeature:
                addField(HidReportKind::feature, data.bits);
                break;
            case kCollection:
                begin(data.bits);
                break;
            case kEndCollection:
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

    void takeGlobal(std::uint8_t item, const Data& data) {
        switch (item) {
            case kUsagePage:
                globals_.usagePage = data.bits & 0xFFFFU;
                break;
            case kLogicalMinimum:
                globals_.logicalMinimum = data;
                break;
            case kLogicalMaximum:
                globals_.logicalMaximum = data;
                break;
            case kPhysicalMinimum:
                globals_.physicalMinimum = data;
                break;
            case kPhysicalMaximum:
                globals_.physicalMaximum = data;
                break;
            case kUnitExponent:
                globals_.unitExponent = exponentOf(data);
                break;
            case kReportSize:
                globals_.reportSize = data.bits;
                break;
            case kReportCount:
                globals_.reportCount = data.bits;
                break;
            case kReportID:
                if (data.bits == 0 || data.bits > 0xFF) {
                    error_ = "a report id is out of range";
                }
                if (!result_.hasReportIDs && !result_.fields.empty()) {
                    error_ = "some reports have an id and some have none";
                }
                globals_.reportID = static_cast<std::uint8_t>(data.bits);
                result_.hasReportIDs = true;
                break;
            case kPush:
                if (pushed_.size() == kMostNesting) {
                    error_ = "it pushes too often";
                } else {
                    pushed_.push_back(globals_);
                }
                break;
            case kPop:
                if (pushed_.empty()) {
                    error_ = "it pops what it did not push";
                } else {
                    globals_ = pushed_.back();
                    pushed_.pop_back();
                }
                break;
            default:
                break;
        }
    }

    void takeLocal(std::uint8_t item, const Data& data) {
        const LocalUsage usage{.bits = data.bits, .hasPage = data.size == 4};
        if (item == kUsage) {
            usages_.push_back({usage, usage});
        } else if (item == kUsageMinimum) {
            usageMinimum_ = usage;
        } else if (item == kUsageMaximum && usageMinimum_) {
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

    std::span<const std::uint8_t> rest_;
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

std::size_t HidReportDescriptor::reportSize(HidReportKind kind, std::uint8_t reportID) const {
    std::size_t bits = 0;
    for (const HidField& field : fields) {
        if (field.kind == kind && field.reportID == reportID) {
            bits = std::max(bits, field.bitOffset + std::size_t{field.bitSize} * field.count);
        }
    }
    return (bits + 7) / 8;
}

const HidField* HidReportDescriptor::find(HidReportKind kind, HidUsage usage,
                                          HidUsage application) const {
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const HidField& field) {
        return field.kind == kind && field.application == application && field.indexOf(usage);
    });
    return found == fields.end() ? nullptr : &*found;
}

std::variant<HidReportDescriptor, std::string> parseHidReportDescriptor(
    std::span<const std::uint8_t> bytes) {
    return Parser(bytes).parse();
}

}  // namespace velmaro

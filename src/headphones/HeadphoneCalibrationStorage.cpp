#include "headphones/HeadphoneCalibrationStorage.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>

namespace velmaro {
namespace {

using Record = HeadphoneCalibrationStorage;

struct CodingKey {
    std::string_view name;
    double Record::*member;
};

constexpr std::array<CodingKey, 8> kCodingKeys{{
    {"calibrationW", &Record::calibrationW},
    {"calibrationX", &Record::calibrationX},
    {"calibrationY", &Record::calibrationY},
    {"calibrationZ", &Record::calibrationZ},
    {"idleW", &Record::idleW},
    {"idleX", &Record::idleX},
    {"idleY", &Record::idleY},
    {"idleZ", &Record::idleZ},
}};

/// Takes the eight numbers out of the stream of JSON events; of a key that comes twice the last
/// value counts. Returning false ends the reading.
class RecordReader : public nlohmann::json_sax<nlohmann::json> {
public:
    [[nodiscard]] std::optional<Record> result() const {
        return found_.all() ? std::optional(record_) : std::nullopt;
    }

    bool null() override { return other(); }
    bool boolean(bool /*value*/) override { return other(); }
    bool string(string_t& /*value*/) override { return other(); }
    // GCOVR_EXCL_START: the reader's interface asks for it, JSON text has no binary values.
    bool binary(binary_t& /*value*/) override { return other(); }
    // GCOVR_EXCL_STOP
    bool start_array(std::size_t /*size*/) override {
        ++depth_;
        return depth_ > 1 && !expected(depth_ - 1);
    }
    bool end_array() override { return close(); }
    bool start_object(std::size_t /*size*/) override {
        ++depth_;
        return !expected(depth_ - 1);
    }
    bool end_object() override { return close(); }

    bool key(string_t& name) override {
        if (depth_ == 1) {
            const auto* match =
                std::find_if(kCodingKeys.begin(), kCodingKeys.end(),
                             [&](const CodingKey& key) { return key.name == name; });
            current_ = static_cast<std::size_t>(match - kCodingKeys.begin());
        }
        return true;
    }

    bool number_unsigned(number_unsigned_t value) override {
        return number(static_cast<double>(value));
    }
    bool number_integer(number_integer_t value) override {
        // Only a number with a minus sign arrives here, so zero was written -0.
        return number(value == 0 ? -0.0 : static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t& /*text*/) override {
        return number(value);
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& /*error*/) override {
        return false;
    }

private:
    /// True if the next value, inside `depth` open objects and arrays, must be one of the numbers.
    [[nodiscard]] bool expected(std::size_t depth) const {
        return depth == 1 && current_ < kCodingKeys.size();
    }
    [[nodiscard]] bool other() const { return depth_ > 0 && !expected(depth_); }
    bool close() {
        --depth_;
        return true;
    }
    bool number(double value) {
        if (expected(depth_)) {
            record_.*kCodingKeys[current_].member = value;
            found_.set(current_);
        }
        return depth_ > 0;
    }

    Record record_;
    std::bitset<kCodingKeys.size()> found_;
    /// Open objects and arrays.
    std::size_t depth_ = 0;
    std::size_t current_ = kCodingKeys.size();
};

}  // namespace

std::optional<std::string> encode(const HeadphoneCalibrationStorage& record) {
    std::string json;
    for (const CodingKey& key : kCodingKeys) {
        const double value = record.*key.member;
        if (!std::isfinite(value)) {
            return std::nullopt;
        }
        std::array<char, 32> digits{};
        const auto [end, error] = std::to_chars(digits.begin(), digits.end(), value);
        json.append(json.empty() ? "{\"" : ",\"").append(key.name).append("\":");
        json.append(digits.begin(), end);
    }
    return json + '}';
}

std::optional<HeadphoneCalibrationStorage> decodeHeadphoneCalibrationStorage(
    std::string_view json) {
    // The library takes a zero byte for the end of the text.
    if (json.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    RecordReader reader;
    if (!nlohmann::json::sax_parse(json, &reader)) {
        return std::nullopt;
    }
    return reader.result();
}

}  // namespace velmaro

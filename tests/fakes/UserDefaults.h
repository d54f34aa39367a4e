#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UserDefaults.h"

namespace velmaro::fakes {

/// Settings that live as long as the test.
class MemoryUserDefaults : public UserDefaults {
public:
    [[nodiscard]] std::string data(std::string_view key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::string() : found->second;
    }
    void setData(std::string_view key, std::string_view bytes) override {
        ++storeCount;
        if (trace) {
            trace->emplace_back("setData");
        }
        if (writable) {
            values.insert_or_assign(std::string(key), std::string(bytes));
        }
    }

    std::map<std::string, std::string, std::less<>> values;
    /// Where a store is noted, if anywhere.
    std::vector<std::string>* trace = nullptr;
    bool writable = true;
    int storeCount = 0;
};

}  // namespace velmaro::fakes

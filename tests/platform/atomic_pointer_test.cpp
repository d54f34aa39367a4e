#include <gtest/gtest.h>

#include "platform/AtomicPointer.h"

namespace velmaro {
namespace {

TEST(AtomicPointer, IsNullUntilStored) {
    AtomicPointer<int> pointer;
    EXPECT_EQ(pointer.load(), nullptr);
    const auto value = std::make_shared<int>(7);
    pointer.store(value);
    EXPECT_EQ(pointer.load(), value);
}

TEST(AtomicPointer, ExchangeGivesWhatWasThere) {
    const auto first = std::make_shared<int>(1);
    const auto second = std::make_shared<int>(2);
    AtomicPointer<int> pointer(first);
    EXPECT_EQ(pointer.exchange(second), first);
    EXPECT_EQ(pointer.exchange(nullptr), second);
    EXPECT_EQ(pointer.load(), nullptr);
}

TEST(AtomicPointer, AReaderKeepsWhatIsReplaced) {
    AtomicPointer<int> pointer(std::make_shared<int>(1));
    const auto read = pointer.load();
    pointer.store(std::make_shared<int>(2));
    EXPECT_EQ(*read, 1);
    EXPECT_EQ(read.use_count(), 1);
}

/// With the lock held its destructor would wait for itself.
TEST(AtomicPointer, WhatIsReplacedMayReadItWhenItGoes) {
    struct Reader {
        AtomicPointer<Reader>& pointer;
        bool& sawNull;
        ~Reader() { sawNull = pointer.load() == nullptr; }
    };
    AtomicPointer<Reader> pointer;
    bool sawNull = false;
    pointer.store(std::shared_ptr<Reader>(new Reader{pointer, sawNull}));
    pointer.store(nullptr);
    EXPECT_TRUE(sawNull);
}

}  // namespace
}  // namespace velmaro

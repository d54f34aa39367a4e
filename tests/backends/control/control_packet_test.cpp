#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lo/lo.h>

#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "backends/control/ControlPacket.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<ControlRequest> requests(const std::string& packet) {
    std::vector<ControlRequest> all;
    readControlPacket(packet, [&](ControlRequest request) { all.push_back(request); });
    return all;
}

using Message = std::unique_ptr<std::remove_pointer_t<lo_message>, decltype(&lo_message_free)>;

Message message() {
    return {lo_message_new(), &lo_message_free};
}

/// Encoded by an independent library.
std::string encoded(const char* address, const Message& message) {
    std::size_t size = 0;
    void* const bytes = lo_message_serialise(message.get(), address, nullptr, &size);
    std::string packet(static_cast<const char*>(bytes), size);
    std::free(bytes);
    return packet;
}

std::string joined(std::initializer_list<std::string> parts) {
    std::string all;
    for (const std::string& part : parts) {
        all += part;
    }
    return all;
}

TEST(ControlPacket, SetAndResetAreRequests) {
    EXPECT_THAT(requests(encoded("/velmaro/set", message())),
                ElementsAre(ControlRequest::setOffset));
    EXPECT_THAT(requests(encoded("/velmaro/reset", message())),
                ElementsAre(ControlRequest::resetOffset));
}

TEST(ControlPacket, OtherAddressesAreNone) {
    for (const char* const address :
         {"/velmaro", "/velmaro/sets", "/velmaro/set/1", "/set", "/ypr", "/VELMARO/SET"}) {
        EXPECT_THAT(requests(encoded(address, message())), IsEmpty()) << address;
    }
}

TEST(ControlPacket, AButtonAsksWhenItIsPressedAndNotWhenItIsLetGo) {
    for (const float value : {1.0F, 0.0F}) {
        const Message pressed = message();
        lo_message_add_float(pressed.get(), value);
        EXPECT_EQ(requests(encoded("/velmaro/set", pressed)).size(), value != 0 ? 1U : 0U);
        const Message whole = message();
        lo_message_add_int32(whole.get(), static_cast<int>(value));
        EXPECT_EQ(requests(encoded("/velmaro/set", whole)).size(), value != 0 ? 1U : 0U);
        const Message wide = message();
        lo_message_add_double(wide.get(), value);
        EXPECT_EQ(requests(encoded("/velmaro/set", wide)).size(), value != 0 ? 1U : 0U);
    }
    const Message yes = message();
    lo_message_add_true(yes.get());
    EXPECT_EQ(requests(encoded("/velmaro/set", yes)).size(), 1U);
    const Message no = message();
    lo_message_add_false(no.get());
    EXPECT_THAT(requests(encoded("/velmaro/set", no)), IsEmpty());
}

TEST(ControlPacket, WhateverElseItCarriesIsNoMatter) {
    const Message text = message();
    lo_message_add_string(text.get(), "now");
    EXPECT_EQ(requests(encoded("/velmaro/set", text)).size(), 1U);
}

/// The library that reads the packets would believe this blob's length.
TEST(ControlPacket, ABlobIsNotRead) {
    const std::string set = encoded("/velmaro/set", message()).substr(0, 16);
    for (const int count : {1, 3}) {
        std::string tags = "," + std::string(static_cast<std::size_t>(count), 'b');
        tags.resize((tags.size() / 4 + 1) * 4);
        std::string lengths;
        for (int i = 0; i < count; ++i) {
            lengths += std::string("\x7F\xFF\xFF\xF0", 4);
        }
        EXPECT_THAT(requests(joined({set, tags, lengths})), IsEmpty());
    }
}

/// The beginning of a bundle, to which elements are added.
const std::string kBundle("#bundle\0\0\0\0\0\0\0\0\1", 16);

std::string element(const std::string& content) {
    return std::string{0, 0, 0, static_cast<char>(content.size())} + content;
}

TEST(ControlPacket, ABundleMayHoldSeveral) {
    const std::string set = encoded("/velmaro/set", message());
    const std::string reset = encoded("/velmaro/reset", message());
    EXPECT_THAT(requests(kBundle + element(reset) + element(set)),
                ElementsAre(ControlRequest::resetOffset, ControlRequest::setOffset));
    EXPECT_THAT(requests(kBundle + element(kBundle + element(set))),
                ElementsAre(ControlRequest::setOffset));
}

/// Four bytes of size and minus four of content are none: who adds them up never gets on.
TEST(ControlPacket, AnElementOfLessThanNothingEndsTheBundle) {
    const std::string set = element(encoded("/velmaro/set", message()));
    const std::string minusFour("\xFF\xFF\xFF\xFC", 4);
    EXPECT_THAT(requests(kBundle + minusFour), IsEmpty());
    EXPECT_THAT(requests(kBundle + minusFour + set), IsEmpty());
    EXPECT_THAT(requests(kBundle + set + minusFour + set), ElementsAre(ControlRequest::setOffset));
}

TEST(ControlPacket, ABrokenElementEndsEveryBundleAroundIt) {
    const std::string set = element(encoded("/velmaro/set", message()));
    for (const std::string& broken :
         {std::string("\0\0\0\x7F", 4), std::string("\0\0", 2), std::string("\x80\0\0\0", 4)}) {
        EXPECT_THAT(requests(joined({kBundle, set, element(joined({kBundle, broken})), set})),
                    ElementsAre(ControlRequest::setOffset));
    }
}

TEST(ControlPacket, WhatIsNoOscAsksForNothing) {
    const std::string set = encoded("/velmaro/set", message());
    for (std::size_t size = 0; size < set.size(); ++size) {
        // Without its type tags a message of old senders is whole.
        if (size != 16) {
            EXPECT_THAT(requests(set.substr(0, size)), IsEmpty()) << size;
        }
    }
    EXPECT_THAT(requests(std::string(20, '/')), IsEmpty());
    EXPECT_THAT(requests(std::string("#bundle\0\0\0\0\0\0\0\0\1\0\0\0\x7F", 20)), IsEmpty());
    EXPECT_THAT(requests(set + std::string(kLongestControlPacket, '\0')), IsEmpty());
}

}  // namespace
}  // namespace velmaro

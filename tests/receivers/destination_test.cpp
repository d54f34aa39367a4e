#include "receivers/Destination.h"

#include <gtest/gtest.h>

namespace velmaro {
namespace {

TEST(Destination, IsAnAddressAPortAndMaybeAnOscAddress) {
    EXPECT_EQ(parseDestination("127.0.0.1:9000"), (Destination{"127.0.0.1", 9000}));
    EXPECT_EQ(parseDestination("studio.local:1/adm/lis/ypr"),
              (Destination{"studio.local", 1, "/adm/lis/ypr"}));
    EXPECT_EQ(parseDestination("[fe80::1%eth0]:65535/a:b"),
              (Destination{"fe80::1%eth0", 65535, "/a:b"}));
}

TEST(Destination, AnythingElseIsRefusedInOneLine) {
    for (const char* const text :
         {"", ":", "127.0.0.1", "127.0.0.1:", ":9000", "127.0.0.1:0", "127.0.0.1:65536",
          "127.0.0.1:9x", "::1:9000", "[::1]", "[]:9000", "[::1:9000", "127.0.0.1:9000/",
          "127.0.0.1/9000", "127.0.0.1:9000/\xC3\xA4"}) {
        const auto parsed = parseDestination(text);
        ASSERT_FALSE(parsed) << text;
        EXPECT_EQ(parsed.error().description,
                  "'" + std::string(text) +
                      "' is no receiver: give IP:PORT or IP:PORT/ADDRESS, as in "
                      "127.0.0.1:9000/ypr or [::1]:9000");
    }
}

}  // namespace
}  // namespace velmaro

#include <gtest/gtest.h>

#include "platform/NotificationCenter.h"

namespace velmaro {
namespace {

TEST(NotificationCenter, MatchesNameAndObject) {
    NotificationCenter center;
    const auto observer = std::make_shared<int>(0);
    const int mine = 0;
    const int other = 0;
    std::string heard;
    center.addObserver(observer, "a", &mine, [&](const Notification&) { heard += "mine "; });
    center.addObserver(observer, "a", nullptr, [&](const Notification&) { heard += "any "; });

    center.post({"a", &mine, {}});
    EXPECT_EQ(heard, "mine any ");
    heard.clear();
    center.post({"a", &other, {}});
    EXPECT_EQ(heard, "any ");
    heard.clear();
    center.post({"b", &mine, {}});
    EXPECT_EQ(heard, "");
}

TEST(NotificationCenter, CarriesItsUserInformation) {
    NotificationCenter center;
    const auto observer = std::make_shared<int>(0);
    int seen = 0;
    center.addObserver(observer, "a", nullptr, [&](const Notification& notification) {
        seen = std::any_cast<int>(notification.userInfo.at("key"));
    });
    center.post({"a", nullptr, {{"key", 5}}});
    EXPECT_EQ(seen, 5);
}

TEST(NotificationCenter, SkipsAnObserverThatIsGone) {
    NotificationCenter center;
    auto observer = std::make_shared<int>(0);
    int calls = 0;
    center.addObserver(observer, "a", nullptr, [&](const Notification&) { ++calls; });
    center.post({"a", nullptr, {}});
    observer.reset();
    center.post({"a", nullptr, {}});
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, AHandlerMayAddAnotherAndPost) {
    NotificationCenter center;
    const auto observer = std::make_shared<int>(0);
    int inner = 0;
    center.addObserver(observer, "a", nullptr, [&](const Notification&) {
        center.addObserver(observer, "b", nullptr, [&](const Notification&) { ++inner; });
        center.post({"b", nullptr, {}});
    });
    center.post({"a", nullptr, {}});
    EXPECT_EQ(inner, 1);
}

}  // namespace
}  // namespace velmaro

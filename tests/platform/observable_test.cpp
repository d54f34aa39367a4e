#include "platform/Observable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmaro {
namespace {

struct Model : Observable {
    Published<float> number{*this, 1.0F};
    Published<std::string> text{*this, "one"};
};

TEST(Observable, TellsBeforeEveryAssignmentChangedOrNot) {
    Model model;
    std::vector<float> seen;
    const Subscription subscription =
        model.observeChanges([&] { seen.push_back(model.number.get()); });
    model.number = 2.0F;
    model.number = 2.0F;
    EXPECT_EQ(seen, (std::vector<float>{1.0F, 2.0F}));
    EXPECT_EQ(model.number.get(), 2.0F);
}

TEST(Observable, EndsWithItsSubscription) {
    Model model;
    int calls = 0;
    Subscription subscription = model.observeChanges([&] { ++calls; });
    model.number = 2.0F;
    subscription.reset();
    model.number = 3.0F;
    EXPECT_EQ(calls, 1);
}

TEST(Observable, AnObserverMayEndItselfAndOthers) {
    Model model;
    int calls = 0;
    Subscription second;
    Subscription first = model.observeChanges([&] {
        ++calls;
        first.reset();
        second.reset();
    });
    second = model.observeChanges([&] { ++calls; });
    model.number = 2.0F;
    model.number = 3.0F;
    EXPECT_EQ(calls, 1);
}

TEST(Observable, ASubscriptionMayOutliveItsObject) {
    Subscription subscription;
    {
        Model model;
        subscription = model.observeChanges([] {});
    }
    subscription.reset();
    EXPECT_EQ(subscription, nullptr);
}

TEST(Published, GivesTheCurrentValueAndThenEachAssignmentBeforeItIsStored) {
    Model model;
    std::vector<std::string> seen;
    const Subscription subscription = model.text.observe(
        [&](const std::string& value) { seen.push_back(value + " over " + model.text.get()); });
    model.text = "two";
    model.text = "two";
    EXPECT_EQ(seen, (std::vector<std::string>{"one over one", "two over one", "two over two"}));
}

TEST(Published, AReaderKeepsTheVersionItLoaded) {
    Model model;
    const auto version = model.text.snapshot();
    model.text = "two";
    EXPECT_EQ(*version, "one");
    EXPECT_EQ(*model.text.snapshot(), "two");
}

}  // namespace
}  // namespace velmaro

// What screen readers are given to read out. They ask for it a little later, by its name.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTest>
#include <set>
#include <string>

#include "app/window/Accessibility.h"
#include "app/window/StatusRow.h"

namespace velmaro {
namespace {

class AnnouncementTest : public testing::Test {
protected:
    [[nodiscard]] std::multiset<std::string> names() const {
        std::multiset<std::string> names;
        for (const QObject* const child : row.children()) {
            if (const auto* const announcer = dynamic_cast<const Announcer*>(child)) {
                names.insert(announcer->accessibleName().toStdString());
            }
        }
        names.erase("");
        return names;
    }

    StatusRow row;
};

TEST_F(AnnouncementTest, OfStatusesInAHurryOnlyTheLastIsSaid) {
    row.setStatus(false, "Stopped");
    row.setStatus(true, "Starting camera...");
    EXPECT_THAT(names(), testing::IsEmpty()) << "another may follow at once";
    row.setStatus(true, "Running");
    ASSERT_TRUE(QTest::qWaitFor([this] { return !names().empty(); }));
    EXPECT_THAT(names(), testing::ElementsAre("Running"));
}

TEST_F(AnnouncementTest, AStatusItsReasonAndAMessageAreAllSaid) {
    row.setStatus(false, "Stopped");
    row.setStatus(true, "isRunning: false");
    row.setReason("The file gives no pictures.");
    row.setMessage("'cut.webm' ended early");
    ASSERT_TRUE(QTest::qWaitFor([this] { return names().size() == 3; }));
    EXPECT_THAT(names(),
                testing::UnorderedElementsAre("isRunning: false", "The file gives no pictures.",
                                              "'cut.webm' ended early"));
}

}  // namespace
}  // namespace velmaro

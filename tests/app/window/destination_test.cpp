// What the fields of the destination say of what is typed into them and of what becomes of it.

#include "app/window/DestinationNotes.h"
#include "app/window/PanelFixture.h"

namespace velmaro {
namespace {

using namespace std::chrono_literals;
using Kind = FieldNote::Kind;
using State = UDPConnection::State;

class DestinationTest : public PanelTest {
protected:
    void SetUp() override {
        capture.setLocal({desk});
        makePanel();
    }

    void type(TextField* field, const QString& text) {
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
        panel->refresh();
    }

    void start() {
        view->toggleTracking();
        frame();
        panel->refresh();
    }

    static std::string says(const TextField* field) { return field->note().text.toStdString(); }
};

TEST_F(DestinationTest, NothingIsSaidOfWhatIsRight) {
    start();
    for (const TextField* const field : {panel->ipField, panel->portField, panel->oscField}) {
        EXPECT_EQ(field->note(), FieldNote{});
    }
}

TEST_F(DestinationTest, ABadPortIsShownAtOnce) {
    for (const char* const port : {"", "91 02", "9102 ", "65536", "abc", "0", "-1"}) {
        view->oscManager.port = port;
        panel->refresh();
        EXPECT_EQ(panel->portField->note().kind, Kind::wrong) << port;
    }
    type(panel->portField, "91 02");
    EXPECT_EQ(says(panel->portField),
              "There is a blank in the port: remove it. Until then nothing is sent.");
    type(panel->portField, "9102");
    EXPECT_EQ(panel->portField->note(), FieldNote{});
}

TEST_F(DestinationTest, ABlankInTheAddressIsShown) {
    type(panel->ipField, "127.0.0.1 ");
    EXPECT_EQ(says(panel->ipField), "There is a blank in the address: remove it.");
    type(panel->ipField, "");
    QTest::keyClick(panel->ipField, Qt::Key_Delete);
    panel->refresh();
    EXPECT_EQ(says(panel->ipField), "There is no address: type that of the receiver.");
    type(panel->oscField, "/ypr ");
    EXPECT_EQ(panel->oscField->note().kind, Kind::wrong);
    type(panel->oscField, "ypr");
    EXPECT_EQ(says(panel->oscField), "An OSC address begins with a slash: type one such as /ypr.");
}

TEST_F(DestinationTest, WhatIsTypedWhileRunningWaitsForTheNextStart) {
    start();
    type(panel->portField, "9102");
    EXPECT_EQ(panel->portField->note().kind, Kind::pending);
    EXPECT_EQ(says(panel->portField),
              "Takes effect at the next start. Until then everything goes to 127.0.0.1, port "
              "8000.");
    EXPECT_EQ(panel->ipField->note(), FieldNote{});
    type(panel->ipField, "10.0.0.7");
    EXPECT_EQ(panel->ipField->note().kind, Kind::pending);
    type(panel->oscField, "/head");
    EXPECT_EQ(panel->oscField->note(), FieldNote{}) << "which acts at once";
    view->toggleTracking();
    panel->refresh();
    EXPECT_EQ(panel->portField->note(), FieldNote{});
    view->toggleTracking();
    frame();
    panel->refresh();
    EXPECT_EQ(panel->portField->note(), FieldNote{});
    EXPECT_EQ(network.connections.back()->port, Port{9102});
}

TEST_F(DestinationTest, AnAddressThatIsNotFoundIsShownUntilItIs) {
    type(panel->ipField, "nowhere");
    start();
    EXPECT_EQ(panel->ipField->note(), FieldNote{});
    network.connections.back()->enter(State::failed, Error{"Name unknown", ""});
    panel->refresh();
    EXPECT_EQ(says(panel->ipField),
              "“nowhere” cannot be reached (Name unknown): correct the "
              "address.");
    EXPECT_TRUE(panel->ipField->toolTip().contains("Name unknown"));
    EXPECT_TRUE(panel->ipField->accessibleDescription().contains("Name unknown"));
    EXPECT_EQ(panel->portField->note(), FieldNote{});
    type(panel->ipField, "somewhere");
    EXPECT_EQ(panel->ipField->note(), FieldNote{}) << "it is taken with the next angle";
    frame();
    network.connections.back()->enter(State::ready);
    panel->refresh();
    EXPECT_EQ(panel->ipField->note(), FieldNote{});
}

TEST_F(DestinationTest, AReceiverThatRefusesIsShownAndForgottenWhenItAnswers) {
    start();
    const auto refuse = [&] {
        network.connections.back()->errorHandlers.back()({"Connection refused", ""});
    };
    refuse();
    now += 1s;
    refuse();
    // Without any other change: what is shown follows the time too.
    ASSERT_TRUE(QTest::qWaitFor([&] { return panel->portField->note().kind == Kind::wrong; }));
    EXPECT_EQ(says(panel->portField),
              "Nothing arrives at 127.0.0.1, port 8000 (Connection refused): start the receiver, "
              "or correct address and port for the next start.");
    EXPECT_EQ(panel->ipField->note(), panel->portField->note());
    EXPECT_EQ(status(), "Starting camera...") << "which stays as it is";
    now += 4s;
    ASSERT_TRUE(QTest::qWaitFor([&] { return panel->portField->note() == FieldNote{}; }));
}

TEST_F(DestinationTest, EveryNoteIsAnOutlineOfItsOwn) {
    const auto picture = [&] {
        QImage image(panel->portField->size(), QImage::Format_RGB32);
        image.fill(Qt::white);
        panel->portField->render(&image);
        return image;
    };
    panel->portField->clearFocus();
    const QImage plain = picture();
    panel->portField->setNote({Kind::pending, "later"});
    const QImage waiting = picture();
    panel->portField->setNote({Kind::wrong, "bad"});
    const QImage bad = picture();
    EXPECT_NE(plain, waiting);
    EXPECT_NE(plain, bad);
    EXPECT_NE(waiting, bad);
}

}  // namespace
}  // namespace velmaro

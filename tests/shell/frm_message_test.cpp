#include "shell/frm_message.h"
#include "shell/frm_splash.h"

#include <QLabel>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>
#include <optional>

using shell::frmMessage;

namespace {

// A message window shown with a time-out of ticks, or without one; it deletes itself on closing.
QPointer<frmMessage> showMessage(std::optional<std::int32_t> ticks) {
    auto* window = new frmMessage;
    if (ticks)
        window->SetTimeOut(*ticks);
    window->show();
    return window;
}

} // namespace

TEST(MessageWindow, TimeOutClosesAfterItsTicksAndNeverWithoutOne) {
    frmMessage untimed;
    untimed.show();
    const QPointer<frmMessage> timed = showMessage(3);
    QTest::qWait(150);
    EXPECT_FALSE(timed.isNull()) << "three ticks of 100 ms have not passed yet";
    EXPECT_TRUE(QTest::qWaitFor([&] { return timed.isNull(); }, 2000));
    EXPECT_TRUE(untimed.isVisible());

    const QPointer<frmMessage> immediate = showMessage(0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return immediate.isNull(); }, 500))
        << "closes at the first tick";
}

TEST(MessageWindow, ClickClosesATimedWindowAndOnlyHidesAnUntimedOne) {
    const QPointer<frmMessage> timed = showMessage(1000);
    QTest::mouseClick(timed->findChild<QLabel*>("lbMessage"), Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return timed.isNull(); }, 500));

    const QPointer<frmMessage> untimed = showMessage(std::nullopt);
    QTest::mouseClick(untimed.data(), Qt::LeftButton);
    QTest::qWait(20);
    ASSERT_FALSE(untimed.isNull()) << "the caller still owns an untimed window";
    EXPECT_FALSE(untimed->isVisible());
    delete untimed.data();
}

TEST(Splash, ShowsTheVersion) {
    EXPECT_EQ(shell::VersionText(1, 0), "Version 1.0");
}

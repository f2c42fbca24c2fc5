#include "shell/frm_message.h"
#include "shell/frm_splash.h"

#include <QLabel>
#include <QPointer>
#include <QTest>

#include <gtest/gtest.h>

using shell::frmMessage;

TEST(MessageWindow, TimeOutClosesAfterItsTicksAndNeverWithoutOne) {
    QPointer<frmMessage> timed = new frmMessage;
    timed->SetMessageText("Connecting to QuickBooks\r\nGetting Custom Field Names");
    std::int32_t ticks = 3;
    timed->SetTimeOut(ticks);
    timed->show();
    QTest::qWait(150);
    EXPECT_FALSE(timed.isNull()) << "three ticks of 100 ms have not passed yet";
    EXPECT_TRUE(QTest::qWaitFor([&] { return timed.isNull(); }, 2000));

    QPointer<frmMessage> immediate = new frmMessage;
    std::int32_t none = 0;
    immediate->SetTimeOut(none);
    immediate->show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return immediate.isNull(); }, 500))
        << "closes at the first tick";

    frmMessage untimed;
    untimed.SetMessageText("Working...");
    untimed.show();
    QTest::qWait(400);
    EXPECT_TRUE(untimed.isVisible());
    EXPECT_EQ(untimed.messageText(), "Working...");
}

TEST(MessageWindow, ClickClosesATimedWindowAndOnlyHidesAnUntimedOne) {
    QPointer<frmMessage> timed = new frmMessage;
    std::int32_t ticks = 1000;
    timed->SetTimeOut(ticks);
    timed->show();
    QTest::mouseClick(timed->findChild<QLabel*>("lbMessage"), Qt::LeftButton);
    EXPECT_TRUE(QTest::qWaitFor([&] { return timed.isNull(); }, 500));

    QPointer<frmMessage> untimed = new frmMessage;
    untimed->show();
    QTest::mouseClick(untimed.data(), Qt::LeftButton);
    QTest::qWait(20);
    ASSERT_FALSE(untimed.isNull()) << "the caller still owns an untimed window";
    EXPECT_FALSE(untimed->isVisible());
    delete untimed.data();
}

TEST(Splash, ShowsTheVersion) {
    EXPECT_EQ(shell::VersionText(1, 0), "Version 1.0");
    shell::frmSplash splash;
    EXPECT_EQ(splash.versionText(),
              QString("Version %1.%2").arg(ORVANE_VERSION_MAJOR).arg(ORVANE_VERSION_MINOR));
}

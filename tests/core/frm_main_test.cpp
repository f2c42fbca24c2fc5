#include "config/frm_setup.h"
#include "config/frm_setup_scanner.h"
#include "core/append_choice.h"
#include "core/frm_main.h"
#include "core/shared_state.h"
#include "platform/database.h"
#include "platform/send_keys.h"
#include "platform/serial_device_watch.h"
#include "shell/frm_taskbar.h"
#include "support/checks.h"
#include "support/fake_comm_control.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"
#ifndef Q_OS_WIN
#include "support/socat_pair.h"
#endif

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>
#include <utility>

using core::frmMain;
using shell::frmTaskbar;
using testsupport::ScriptedDialogs;
using testsupport::TempProgramFolder;

namespace {

// A loaded main window with its tray, on a fresh program folder; on a fake port, or on the
// system's serial port (then port is null).
struct Program {
    explicit Program(const std::function<void(TempProgramFolder&)>& prepare = {},
                     bool systemPort = false)
        : port(systemPort ? nullptr : new testsupport::FakeCommControl)
        , main(std::unique_ptr<platform::CommControl>(port)) {
        frmTaskbar::setTrayAvailableOverride(true);
        platform::setKeyTyper(&typer);
        if (prepare)
            prepare(folder);
        taskbar = std::make_unique<frmTaskbar>(main);
        main.setTaskbar(taskbar.get());
        taskbar->Load();
        main.Load();
    }
    ~Program() {
        frmTaskbar::setTrayAvailableOverride(std::nullopt);
        platform::setKeyTyper(nullptr);
    }

    // A control or menu item of the main window.
    template <class T>
    T* control(const char* name) {
        return testsupport::child<T>(main, name);
    }
    QAction* trayItem(const char* name) {
        return taskbar->menu()->findChild<QAction*>(QString::fromLatin1(name));
    }
    QMenu* recentMenu() { return taskbar->menu()->findChild<QMenu*>("MuAppend"); }
    // The tray menu's recent patterns as shown, the checked one marked with "*".
    QStringList shownRecent() {
        taskbar->BuildMenu();
        QStringList shown;
        for (QAction* item : recentMenu()->actions()) {
            if (item->isVisible())
                shown << item->text() + (item->isChecked() ? "*" : "");
        }
        return shown;
    }
    // The most-recently-used rank of an append string, as stored.
    int use(const QString& name) {
        return folder.rows("SELECT Use FROM tblAppendStr WHERE Name = '" + name + "'")
            .value(0)
            .toInt();
    }

    TempProgramFolder folder;
    ScriptedDialogs dialogs;
    platform::RecordingTyper typer;
    testsupport::FakeCommControl* port;
    frmMain main;
    std::unique_ptr<frmTaskbar> taskbar;
};

// How many shown top-level windows have this caption.
int openWindows(const QString& caption) {
    int count = 0;
    for (QWidget* window : QApplication::topLevelWidgets())
        count += window->windowTitle() == caption && window->isVisible();
    return count;
}

} // namespace

TEST(MainWindowLoad, UpgradesTheFileAndShowsTheSettingsThatNoTypedKeyChanges) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "ALTER TABLE tblCodelink DROP COLUMN Unit;"
                                 "ALTER TABLE tblPreview DROP COLUMN Unit;"
                                 "UPDATE tblAppendStr SET String = '<TAB>' WHERE Name = 'Tab';"
                                 "UPDATE tblSettings SET append = '<RetVal><TAB>', RetAsScan = 1");
    });
    const auto database = platform::Database::open(program.folder.file("dbscan.mdb"));
    EXPECT_TRUE(database.hasField("tblCodelink", "Unit") &&
                database.hasField("tblPreview", "Unit"));
    EXPECT_TRUE(QDir(program.folder.file("Exports")).exists());
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->text(), "<RetVal><TAB>");
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}");
    EXPECT_EQ(program.control<QComboBox>("CmbApStr")->currentText(), "Tab")
        << "the stored pattern of \"Tab\" gained its <RetVal>";
    EXPECT_EQ(program.control<QLineEdit>("txtAcc")->text(), "QuickBooks");
    EXPECT_EQ(program.control<QAction>("mnuFMap")->text(), "QuickBooks Item Map");
    EXPECT_EQ(program.control<QLabel>("LbScanMode")->text(), "Scanner In Keyboard Wedge Mode");

    // No typed key changes the pattern.
    auto* selector = program.control<QComboBox>("CmbApStr");
    auto* pattern = program.control<QLineEdit>("txtAppend");
    const int chosen = selector->currentIndex();
    for (const auto key : {Qt::Key_1, Qt::Key_T, Qt::Key_Down, Qt::Key_End, Qt::Key_Return})
        QTest::keyClick(selector, key);
    QTest::keyClick(selector, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(selector->currentIndex(), chosen);
    EXPECT_FALSE(selector->view()->isVisible());
    QTest::keyClicks(pattern, "1");
    EXPECT_EQ(pattern->text(), "<RetVal><TAB>");
}

TEST(AppendStrings, ChoicesKeepMostRecentlyUsedRanksAndTheTrayListsUpToSix) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "INSERT INTO tblAppendStr (Name, String, Use) VALUES "
                                 "('F2', '<RetVal><F2>', 0)");
    });
    EXPECT_EQ(program.shownRecent(), QStringList());
    EXPECT_FALSE(program.recentMenu()->isEnabled()) << "no append string has been used yet";

    QComboBox* selector = program.control<QComboBox>("CmbApStr");
    for (const QString name : {"Tab Unit Enter", "Tab", "Tab"}) { // the same again: no change
        selector->setCurrentIndex(selector->findText(name));
        Q_EMIT selector->activated(selector->currentIndex());
    }
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->text(), "<RetVal><TAB>");
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}");
    EXPECT_EQ(program.use("Tab"), 6);
    EXPECT_EQ(program.use("Tab Unit Enter"), 5);
    EXPECT_EQ(program.shownRecent(), QStringList({"Tab*", "Tab Unit Enter"}));
    EXPECT_TRUE(program.recentMenu()->isEnabled());

    for (const char* name : {"Enter", "Unit Tab", "Nothing", "F2"})
        program.main.ChooseAppendString(name);
    EXPECT_EQ(program.shownRecent(),
              QStringList({"F2*", "Nothing", "Unit Tab", "Enter", "Tab", "Tab Unit Enter"}))
        << "six recent strings get a sixth item";
    program.main.ChooseAppendString("Tab");
    EXPECT_EQ(program.use("Tab Unit Enter"), 0) << "a rank that reaches 0 leaves the list";
    EXPECT_EQ(core::RecentAppendNames(),
              QStringList({"Tab", "F2", "Nothing", "Unit Tab", "Enter"}));
}

TEST(AppendStrings, ThePatternChosenInTheMainWindowOrTheTrayIsInUseAfterARestart) {
    Program program;
    QComboBox* selector = program.control<QComboBox>("CmbApStr");
    for (const QString name : {"Unit Tab", "Tab"}) {
        selector->setCurrentIndex(selector->findText(name));
        Q_EMIT selector->activated(selector->currentIndex());
    }
    const auto afterRestart = [] {
        frmMain restarted{std::make_unique<testsupport::FakeCommControl>()};
        restarted.Load();
        return testsupport::child<QComboBox>(restarted, "CmbApStr")->currentText() + " = " +
               testsupport::child<QLineEdit>(restarted, "txtAppend")->text();
    };
    EXPECT_EQ(afterRestart(), "Tab = <RetVal><TAB>");
    ASSERT_EQ(program.shownRecent(), QStringList({"Tab*", "Unit Tab"}));
    program.trayItem("MuAS1")->trigger();
    EXPECT_EQ(afterRestart(), "Unit Tab = <RetVal><TAB><UoM><TAB>");
}

// The widths of the main window and System Setup as they open.
std::pair<int, int> windowWidths(Program& program) {
    config::frmSetup setup(program.main);
    setup.Load();
    return {program.main.sizeHint().width(), setup.sizeHint().width()};
}

TEST(AppendStrings, LongNamesAreElidedAndWidenNoWindow) {
    const auto [mainWidth, setupWidth] = [] {
        Program shortNames;
        return windowWidths(shortNames);
    }();
    const QString longName = QString("Receiving dock, pallet labels, second shift ").repeated(4);
    Program program([&](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "INSERT INTO tblAppendStr (Name, String, Use) VALUES ('" +
                                     longName + "', '<RetVal><F3>', 6)");
    });
    EXPECT_EQ(windowWidths(program), std::pair(mainWidth, setupWidth));
    EXPECT_LE(std::max(mainWidth, setupWidth), 1280) << "the windows fit a 1,280 px screen";

    const QStringList shown = program.shownRecent();
    ASSERT_EQ(shown.size(), 1);
    EXPECT_LT(shown[0].size(), longName.size()) << "the tray elides it";
    program.trayItem("MuAS0")->trigger();
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->text(), "<RetVal><F3>");
}

TEST(Tray, StatusTipAndItemsFollowTheWindowAndTheScannerAndMinimisingHidesInIt) {
    Program program;
    EXPECT_EQ(program.taskbar->status(), frmTaskbar::kStatusOn) << "the start-up status is 0";
    program.main.hide();
    program.taskbar->BuildMenu();
    EXPECT_EQ(program.trayItem("MuOnOff")->text(), "Disable");
    EXPECT_EQ(program.trayItem("muShow")->text(), "Show");
    program.trayItem("MuOnOff")->trigger(); // ScanTog(False) while off: nothing happens
    EXPECT_EQ(program.control<QPushButton>("cmdScan")->text(), "&Start");
    EXPECT_TRUE(program.dialogs.messages().empty());
    program.main.show();
    program.taskbar->BuildMenu();
    EXPECT_EQ(program.trayItem("muShow")->text(), "Close");

    std::int16_t status = 5; // out of range: clamped, and the caller's value with it
    program.taskbar->SetStatus(status);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane in Keyboard Wedge Mode");
    status = -1;
    program.taskbar->SetStatus(status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane Mode");
    shell::TrayRecord record;
    record.setTip(QString(70, 'x'));
    EXPECT_EQ(record.tipText(), QString(64, 'x')) << "a long tip fills the field, no NUL";

    // Minimising hides the window in the tray, and a left click brings it back.
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&program.main));
    program.main.showMinimized();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !program.main.isVisible(); }));
    EXPECT_TRUE(program.taskbar->HidMain);
    program.taskbar->LeftClick();
    EXPECT_TRUE(program.main.isVisible());
    EXPECT_FALSE(program.main.isMinimized());
    EXPECT_FALSE(program.taskbar->HidMain);

    frmTaskbar::setTrayAvailableOverride(false); // no tray: the window stays minimised
    program.main.showMinimized();
    QTest::qWait(50);
    EXPECT_TRUE(program.main.isVisible());
    EXPECT_FALSE(program.taskbar->HidMain);
}

TEST(MainWindowScanning, ButtonCaptionIsTheStateTheTrayFollowsAndWindowsAskToStopIt) {
    Program program;
    program.folder.writeIni("Timeout=10\r\nAutoReconnect=0\r\n"); // a lost port stops scanning
    QPushButton* scan = program.control<QPushButton>("cmdScan");
    scan->click();
    EXPECT_EQ(scan->text(), "&Stop");
    EXPECT_TRUE(program.port->portOpen());
    EXPECT_EQ(program.taskbar->status(), frmTaskbar::kStatusOn);
    program.main.ScanTog(true); // already on: nothing
    EXPECT_EQ(scan->text(), "&Stop");

    program.port->pushText("999\r\n");
    program.port->simulateLoss("gone");
    QTest::qWait(10);
    EXPECT_EQ(scan->text(), "&Start") << "a lost port turns scanning off";
    EXPECT_EQ(program.taskbar->status(), frmTaskbar::kStatusOff);
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane Is Off");
    ASSERT_EQ(program.dialogs.messages().size(), 1u);
    EXPECT_TRUE(program.dialogs.messages()[0].text.contains("gone"));
    EXPECT_EQ(program.typer.described(), std::vector<QString>{"999{ENTER}"});

    program.port->failOpenWith(platform::AppError(8005, "Port already open"));
    scan->click(); // the error box comes from the top-level path; the caption stays
    EXPECT_EQ(scan->text(), "&Start");
    ASSERT_EQ(program.dialogs.messages().size(), 2u);
    EXPECT_TRUE(program.dialogs.messages()[1].text.contains("8005"));
    program.port->failOpenWith(std::nullopt);
    scan->click();
    EXPECT_EQ(scan->text(), "&Stop") << "scanning starts again once the port is back";

    program.port->clearRecord(); // a new pattern while scanning reopens the port
    program.main.ChooseAppendString("Tab");
    EXPECT_EQ(program.port->calls(), QStringList({"setPortOpen(false)", "setPortOpen(true)"}));
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}");
    EXPECT_TRUE(program.main.scanning());

    // The setup windows ask to stop scanning first, and open once.
    program.dialogs.clear();
    program.dialogs.answer(platform::Answer::No);
    program.control<QAction>("mnuFSettings")->trigger();
    EXPECT_TRUE(program.main.scanning()) << "No leaves scanning on";
    ASSERT_EQ(program.dialogs.messages().size(), 1u);
    const platform::MessageRequest& question = program.dialogs.messages()[0];
    EXPECT_EQ(question.text,
              "Scanning must be stopped to continue.  Turn off scanning and continue?");
    EXPECT_EQ(question.buttons, platform::Buttons::YesNo);
    EXPECT_EQ(openWindows("Orvane System Setup"), 0);

    program.dialogs.answer(platform::Answer::Yes);
    program.control<QAction>("mnuSettingsScanner")->trigger();
    EXPECT_FALSE(program.main.scanning());
    EXPECT_FALSE(program.port->portOpen());
    program.trayItem("MuScanner")->trigger(); // scanning off: no question, and no second window
    EXPECT_EQ(program.dialogs.messages().size(), 2u);
    EXPECT_EQ(openWindows("Orvane Scanner Setup"), 1);
}

TEST(MainWindowScanning, DoesNotStartWhileASetupWindowIsOpenAndStartsWhenTheLastCloses) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "UPDATE tblSettings SET autostart = 1");
    });
    ASSERT_TRUE(program.main.scanning());
    program.dialogs.answer(platform::Answer::Yes);
    program.control<QAction>("mnuSettingsScanner")->trigger();
    program.control<QAction>("mnuFSettings")->trigger();
    const QPointer scannerSetup = program.main.findChild<config::frmSetupScanner*>();
    auto* systemSetup = program.main.findChild<config::frmSetup*>();
    ASSERT_TRUE(scannerSetup && systemSetup && QTest::qWaitForWindowActive(systemSetup));

    ASSERT_TRUE(testsupport::activate(program.main)); // a click on the main window
    EXPECT_FALSE(program.main.scanning()) << "the scanner setup's Test keeps the port";

    // Exit closes the setup windows first; Cancel at an unsaved change keeps the program.
    testsupport::child<QCheckBox>(*systemSetup, "chkAutoStart")->click();
    program.dialogs.answer(platform::Answer::Cancel);
    program.main.close();
    EXPECT_TRUE(systemSetup->isVisible() && program.main.isVisible());
    if (scannerSetup)
        scannerSetup->close(); // unless Exit closed it already
    QTest::qWait(20);
    EXPECT_FALSE(program.main.scanning()) << "the system setup is still open";
    program.dialogs.answer(platform::Answer::No);
    systemSetup->close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return program.main.scanning(); }, 2000))
        << "the last setup window closed";
}

#ifndef Q_OS_WIN // socat's serial pairs (the Windows program's port is tested under Wine)
// Unplugged while scanning: the window says that it waits, with scanning on and no box to click
// away; Stop ends the wait. (Scanning again, the notes and the work done while waiting are
// checked on the whole program.)
TEST(MainWindowScanning, AScannerThatGoesAwayIsWaitedForUntilScanningStops) {
    testsupport::SocatPair pair;
    Program program(
        [&](TempProgramFolder& folder) {
            folder.sql("dbscan.mdb", "UPDATE tblSettings SET ComPort = '" + pair.port() + "'");
        },
        true);
    auto* scan = program.control<QPushButton>("cmdScan");
    auto* mode = program.control<QLabel>("LbScanMode");
    scan->click();
    pair.killPeer();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return mode->text() == "Waiting for the scanner on " + pair.port(); }, 5000));
    EXPECT_EQ(scan->text(), "&Stop");
    EXPECT_TRUE(program.dialogs.messages().empty());
    scan->click();
    EXPECT_EQ(mode->text(), "Scanner In Orvane Mode");
    pair.restart();
    QTest::qWait(3 * platform::SerialDeviceWatch::kPollInterval.count());
    EXPECT_FALSE(program.main.port().portOpen()) << "a stopped wait opens nothing";
}
#endif

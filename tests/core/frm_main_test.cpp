#include "core/append_choice.h"
#include "core/frm_main.h"
#include "core/shared_state.h"
#include "core/startup.h"
#include "core/tokens.h"
#include "platform/database.h"
#include "platform/send_keys.h"
#include "shell/frm_taskbar.h"
#include "support/errors.h"
#include "support/fake_comm_control.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

using core::frmMain;
using shell::frmTaskbar;
using testsupport::ScriptedDialogs;
using testsupport::TempProgramFolder;

namespace {

// A loaded main window with its tray, on a fresh program folder.
struct Program {
    explicit Program(const std::function<void(TempProgramFolder&)>& prepare = {}) {
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

    template <class T>
    T* control(const char* name) {
        T* found = main.findChild<T*>(QString::fromLatin1(name));
        if (!found)
            throw std::runtime_error(std::string("no control ") + name);
        return found;
    }
    QAction* trayItem(const char* name) {
        return taskbar->menu()->findChild<QAction*>(QString::fromLatin1(name));
    }
    int use(const QString& name) {
        platform::Database db = platform::Database::open(folder.file("dbscan.mdb"));
        return db.openRecordset("SELECT Use FROM tblAppendStr WHERE Name = '" + name + "'")
            .value("Use")
            .toInt();
    }

    TempProgramFolder folder;
    ScriptedDialogs dialogs;
    platform::RecordingTyper typer;
    testsupport::FakeCommControl* port = new testsupport::FakeCommControl;
    frmMain main{std::unique_ptr<platform::CommControl>(port)};
    std::unique_ptr<frmTaskbar> taskbar;
};

} // namespace

TEST(MainWindowLoad, UpgradesTheFileAndShowsTheSettings) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "ALTER TABLE tblCodelink DROP COLUMN Unit;"
                                 "ALTER TABLE tblPreview DROP COLUMN Unit;"
                                 "UPDATE tblAppendStr SET String = '<TAB>' WHERE Name = 'Tab';"
                                 "UPDATE tblSettings SET append = '<RetVal><TAB>', RetAsScan = 1");
    });
    {
        platform::Database db = platform::Database::open(program.folder.file("dbscan.mdb"));
        EXPECT_TRUE(db.hasField("tblCodelink", "Unit"));
        EXPECT_TRUE(db.hasField("tblPreview", "Unit"));
        EXPECT_EQ(db.openRecordset("SELECT String FROM tblAppendStr WHERE Name = 'Tab'")
                      .value("String")
                      .toString(),
                  "<RetVal><TAB>");
    }
    EXPECT_TRUE(QDir(program.folder.file("Exports")).exists());
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->text(), "<RetVal><TAB>");
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->toolTip(), "<RetVal><TAB>");
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}");
    EXPECT_EQ(program.control<QComboBox>("CmbApStr")->currentText(), "Tab");
    EXPECT_EQ(program.control<QComboBox>("CmbApStr")->count(), 5);
    EXPECT_EQ(program.control<QLineEdit>("txtAcc")->text(), "QuickBooks");
    EXPECT_EQ(program.main.findChild<QAction*>("mnuFMap")->text(), "QuickBooks Item Map");
    EXPECT_EQ(program.control<QPushButton>("cmdScan")->text(), "&Start");
    EXPECT_EQ(core::shared().strAppTitle, "Orvane Translator");

    program.main.show();
    QTest::qWait(20);
    program.main.activateWindow();
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return program.control<QLabel>("LbScanMode")->text() == "Scanner In Keyboard Wedge Mode";
    }));
}

TEST(MainWindowLoad, NoTypedKeyChangesThePattern) {
    Program program;
    auto* selector = program.control<QComboBox>("CmbApStr");
    auto* pattern = program.control<QLineEdit>("txtAppend");
    const QString before = pattern->text();
    const int chosen = selector->currentIndex();
    for (const auto key : {Qt::Key_1, Qt::Key_T, Qt::Key_Down, Qt::Key_End, Qt::Key_Return})
        QTest::keyClick(selector, key);
    QTest::keyClick(selector, Qt::Key_Down, Qt::AltModifier);
    EXPECT_EQ(selector->currentIndex(), chosen);
    EXPECT_FALSE(selector->view()->isVisible());
    EXPECT_EQ(pattern->focusPolicy(), Qt::NoFocus);
    QTest::keyClicks(pattern, "1");
    EXPECT_EQ(pattern->text(), before);
    EXPECT_EQ(core::shared().append, core::StoredToSendKeys(before));
}

TEST(MainWindowLoad, AFailedStartNamesTheFileAndAWayOut) {
    TempProgramFolder folder;
    const auto startFailure = [] {
        frmMain main;
        try {
            main.Load();
        } catch (const std::exception& error) {
            return core::StartupFailureText(error);
        }
        return QString();
    };
    const QString file = QDir::toNativeSeparators(folder.file("dbscan.mdb"));
    QFile damaged(folder.file("dbscan.mdb"));
    ASSERT_TRUE(damaged.open(QIODevice::ReadWrite));
    damaged.write("this is not a database any more");
    damaged.close();
    QString text = startFailure();
    EXPECT_TRUE(text.contains(file + " cannot be read")) << text.toStdString();
    EXPECT_TRUE(text.contains("orvane-translator repair"));

    QFile::remove(folder.file("dbscan.mdb"));
    text = startFailure();
    EXPECT_TRUE(text.contains(file + " is missing")) << text.toStdString();
    EXPECT_TRUE(text.contains("installation package"));
}

TEST(AppendSelector, KeepsMostRecentlyUsedRanks) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "UPDATE tblAppendStr SET Use = 1 WHERE Name = 'Nothing'");
    });
    QComboBox* selector = program.control<QComboBox>("CmbApStr");
    const auto choose = [&](const QString& name) {
        selector->setCurrentIndex(selector->findText(name));
        Q_EMIT selector->activated(selector->currentIndex());
    };

    choose("Tab Unit Enter");
    EXPECT_EQ(program.control<QLineEdit>("txtAppend")->text(), "<RetVal><TAB><UoM><RET>");
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}{UoM}~");
    EXPECT_EQ(program.use("Tab Unit Enter"), 6);
    EXPECT_EQ(program.use("Nothing"), 0) << "a rank that reaches 0 leaves the list";
    EXPECT_EQ(core::RecentAppendNames(), QStringList{"Tab Unit Enter"});

    choose("Tab");
    EXPECT_EQ(program.use("Tab"), 6);
    EXPECT_EQ(program.use("Tab Unit Enter"), 5);
    choose("Tab"); // the same choice again changes nothing
    EXPECT_EQ(program.use("Tab"), 6);
    EXPECT_EQ(program.use("Tab Unit Enter"), 5);
    EXPECT_EQ(core::RecentAppendNames(), QStringList({"Tab", "Tab Unit Enter"}));
    EXPECT_EQ(selector->currentText(), "Tab");
}

TEST(Tray, MenuRightAfterStartWithoutAutostart) {
    Program program;
    EXPECT_EQ(program.taskbar->status(), frmTaskbar::kStatusOn) << "the start-up status is 0";
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane Mode");
    program.main.hide();
    program.taskbar->BuildMenu();
    EXPECT_EQ(program.trayItem("MuOnOff")->text(), "Disable");
    EXPECT_EQ(program.trayItem("muShow")->text(), "Show");
    EXPECT_FALSE(program.taskbar->menu()->findChild<QMenu*>("MuAppend")->isEnabled())
        << "no append string has been used yet";

    program.trayItem("MuOnOff")->trigger(); // ScanTog(False) while off: nothing happens
    EXPECT_EQ(program.control<QPushButton>("cmdScan")->text(), "&Start");
    EXPECT_TRUE(program.dialogs.messages().empty());

    program.main.ChooseAppendString("Tab");
    program.main.ChooseAppendString("Enter");
    program.main.show();
    program.taskbar->BuildMenu();
    QMenu* recent = program.taskbar->menu()->findChild<QMenu*>("MuAppend");
    EXPECT_TRUE(recent->isEnabled());
    QStringList shown;
    for (QAction* item : recent->actions()) {
        if (item->isVisible())
            shown << item->text() + (item->isChecked() ? "*" : "");
    }
    EXPECT_EQ(shown, QStringList({"Enter*", "Tab"}));
    EXPECT_EQ(program.trayItem("muShow")->text(), "Close");
}

TEST(Tray, SixRecentStringsGetASixthItem) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "INSERT INTO tblAppendStr (Name, String, Use) VALUES "
                                 "('F2', '<RetVal><F2>', 0)");
    });
    for (const char* name : {"Enter", "Tab", "Tab Unit Enter", "Unit Tab", "Nothing", "F2"})
        program.main.ChooseAppendString(name);
    program.taskbar->BuildMenu();
    QStringList shown;
    for (QAction* item : program.taskbar->menu()->findChild<QMenu*>("MuAppend")->actions()) {
        if (item->isVisible())
            shown << item->text();
    }
    EXPECT_EQ(shown, QStringList({"F2", "Nothing", "Unit Tab", "Tab Unit Enter", "Tab", "Enter"}));
}

TEST(Tray, SetStatusClampsAndWritesBack) {
    Program program;
    std::int16_t status = 5;
    program.taskbar->SetStatus(status);
    EXPECT_EQ(status, 2);
    EXPECT_EQ(program.taskbar->status(), 2);
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane in Keyboard Wedge Mode");
    status = -1;
    program.taskbar->SetStatus(status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(program.taskbar->nidTray().tipText(), "Orvane Mode");

    shell::TrayRecord record;
    record.setTip(QString(70, 'x'));
    EXPECT_EQ(record.tipText(), QString(64, 'x')) << "a long tip fills the field, no NUL";
}

TEST(Tray, MinimiseHidesAndLeftClickRestores) {
    Program program;
    program.main.show();
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

TEST(MainWindowScanning, ButtonCaptionIsTheStateAndTheTrayFollows) {
    Program program;
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
    EXPECT_EQ(program.dialogs.messages().size(), 1u);
    EXPECT_EQ(program.typer.described(), std::vector<QString>{"999{ENTER}"});

    program.port->failOpenWith(platform::AppError(8005, "Port already open"));
    scan->click(); // the error box comes from the top-level path; the caption stays
    EXPECT_EQ(scan->text(), "&Start");
    ASSERT_EQ(program.dialogs.messages().size(), 2u);
    EXPECT_TRUE(program.dialogs.messages()[1].text.contains("8005"));
}

TEST(MainWindowScanning, WindowsAskToStopScanningFirst) {
    Program program;
    program.control<QPushButton>("cmdScan")->click();
    program.dialogs.answer(platform::Answer::No);
    program.main.findChild<QAction*>("mnuFSettings")->trigger();
    EXPECT_TRUE(program.main.scanning()) << "No leaves scanning on";
    ASSERT_EQ(program.dialogs.messages().size(), 1u);
    const platform::MessageRequest& question = program.dialogs.messages()[0];
    EXPECT_EQ(question.text,
              "Scanning must be stopped to continue.  Turn off scanning and continue?");
    EXPECT_EQ(question.buttons, platform::Buttons::YesNo);
    EXPECT_EQ(question.title, "Orvane Translator");

    program.dialogs.answer(platform::Answer::Yes);
    program.trayItem("MuScanner")->trigger();
    EXPECT_FALSE(program.main.scanning());
    EXPECT_FALSE(program.port->portOpen());
    program.main.findChild<QAction*>("mnuFMap")->trigger(); // scanning off: no question
    EXPECT_EQ(program.dialogs.messages().size(), 2u);
}

TEST(MainWindowMenus, SetupWindowsOpenOnceAndWhatTheySaveShowsAtOnce) {
    Program program;
    const auto openWindows = [](const QString& caption) {
        int count = 0;
        for (QWidget* window : QApplication::topLevelWidgets())
            count += window->windowTitle() == caption && window->isVisible();
        return count;
    };
    program.main.findChild<QAction*>("mnuSettingsScanner")->trigger();
    program.trayItem("MuScanner")->trigger();
    EXPECT_EQ(openWindows("Orvane Scanner Setup"), 1);
    auto* scanner = program.main.findChild<QWidget*>("frmSetupScanner");
    ASSERT_NE(scanner, nullptr);
    scanner->findChild<QCheckBox*>("ChRetAsScan")->click();
    scanner->findChild<QPushButton*>("cmdSave")->click();
    scanner->close();
    EXPECT_EQ(program.control<QLabel>("LbScanMode")->text(), "Scanner In Keyboard Wedge Mode");

    program.trayItem("MuSystem")->trigger();
    auto* setup = program.main.findChild<QWidget*>("frmSetup");
    ASSERT_NE(setup, nullptr);
    auto* systems = setup->findChild<QComboBox*>("cmbAccSystem");
    systems->setCurrentIndex(systems->findText("Peachtree"));
    setup->findChild<QPushButton*>("cmdSave")->click();
    setup->close();
    EXPECT_EQ(program.control<QLineEdit>("txtAcc")->text(), "Peachtree");
    EXPECT_EQ(program.main.findChild<QAction*>("mnuFMap")->text(), "Peachtree Item Map");
    EXPECT_TRUE(program.dialogs.messages().empty());
}

TEST(MainWindowScanning, AutostartStartsOnceAndChangingThePatternReopensThePort) {
    Program program([](TempProgramFolder& folder) {
        folder.sql("dbscan.mdb", "UPDATE tblSettings SET autostart = 1");
    });
    EXPECT_TRUE(program.main.scanning());
    program.main.show();
    program.main.activateWindow();
    QTest::qWait(20);
    EXPECT_EQ(program.port->calls().count("setPortOpen(true)"), 1) << "not started twice";

    program.port->clearRecord();
    program.main.ChooseAppendString("Tab");
    EXPECT_EQ(program.port->calls(), QStringList({"setPortOpen(false)", "setPortOpen(true)"}));
    EXPECT_EQ(core::shared().append, "{RetVal}{TAB}");
}

TEST(MainWindowMenus, TranslationTableAndCompactionOpenFromTheMenus) {
    Program program;
    program.control<QPushButton>("cmdScan")->click();
    program.dialogs.answer(platform::Answer::Yes); // stop scanning
    program.main.findChild<QAction*>("mnuFDatEnter")->trigger();
    QWidget* dataEntry = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->windowTitle() == "Orvane Translation Table Data" && window->isVisible())
            dataEntry = window;
    }
    ASSERT_NE(dataEntry, nullptr);
    EXPECT_FALSE(program.main.scanning());
    dataEntry->close();
    QTest::qWait(10);

    program.control<QPushButton>("cmdScan")->click();
    program.dialogs.answer(platform::Answer::Yes); // stop scanning
    program.dialogs.answer(platform::Answer::Yes); // compact
    program.main.findChild<QAction*>("mnuFileCompact")->trigger();
    EXPECT_TRUE(program.dialogs.messageTexts().contains("Finished compacting database!"));
    EXPECT_TRUE(program.main.scanning()) << "scanning starts again after the command";
    EXPECT_FALSE(QFile::exists(program.folder.file("dbscanback.mdb")));
}

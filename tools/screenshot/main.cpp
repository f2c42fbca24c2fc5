// orvane-screenshot OUTPUT_FOLDER
//
// Shows the program's windows on the display in $DISPLAY, on a temporary copy of the program
// folder, and saves pictures of them: main-window.png, tray-menu.png, scanner-setup.png (during
// a live test that has just shown a scan), system-setup.png, command-keys.png (Ctrl+F2
// chosen), item-map.png (during an import), preview.png, and the messages of a start that
// fails: start-missing.png, start-damaged.png, start-locked.png. The pictures in docs/ come from
// it.
#include "config/frm_cmd_keys.h"
#include "config/frm_setup.h"
#include "config/frm_setup_scanner.h"
#include "core/application.h"
#include "core/frm_main.h"
#include "core/program_folder.h"
#include "core/startup.h"
#include "db/db_test_support.h"
#include "import/frm_map.h"
#include "import/frm_preview.h"
#include "shell/frm_taskbar.h"
#include "support/database_holder.h"
#include "support/fake_comm_control.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <cstring>

namespace {

void settle(int ms) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
}

// The item map window while a long list is being imported (taken from a timer that runs while
// the import lets the window repaint), and the preview of an IIF export.
bool importPictures(const QString& folder, const QDir& out) {
    testsupport::ScriptedDialogs dialogs; // the success message is not shown
    QFile list(QDir(folder).filePath("Items.csv"));
    list.open(QIODevice::WriteOnly);
    for (int i = 0; i < 400000; ++i)
        list.write(QByteArray("ITEM-") + QByteArray::number(i) + ",0" + QByteArray::number(i) +
                   ",Widget\r\n");
    list.close();
    import::frmMap map;
    map.Load();
    map.move(60, 60);
    map.show();
    map.setSource(list.fileName());
    settle(300);
    bool saved = false;
    QTimer::singleShot(700, &map, [&] { saved = map.grab().save(out.filePath("item-map.png")); });
    map.cmdUpdateDB_Click();

    QFile iif(QDir(folder).filePath("items.iif"));
    iif.open(QIODevice::WriteOnly);
    iif.write("!INVITEM\tNAME\r\nINVITEM\tBOLT-10\t1\t0\tINVENTORY\tSteel bolt 10 mm\r\n"
              "INVITEM\tNUT-10\t2\t0\tPART\tNut 10 mm\r\n");
    iif.close();
    import::frmPreview preview(
        {import::kIif,
         {iif.fileName(), "QuickBooks", "Item Name", "Description", "Description", {}},
         {},
         false});
    preview.Load();
    preview.move(60, 60);
    preview.show();
    settle(500);
    return saved && preview.grab().save(out.filePath("preview.png"));
}

// The message a start on a broken program folder shows.
bool startFailurePicture(const QString& folder, const QString& picture) {
    core::setProgramFolder(folder);
    core::frmMain main;
    QString text;
    try {
        main.Load();
    } catch (const std::exception& error) {
        text = core::StartupFailureText(error);
    }
    QMessageBox box(QMessageBox::Critical, QStringLiteral("Orvane Translator"), text,
                    QMessageBox::Ok);
    box.show();
    settle(500);
    return box.grab().save(picture);
}

bool startFailurePictures(const QDir& out) {
    QTemporaryDir missing;
    testsupport::copyShippedFiles(missing.path());
    QFile::remove(QDir(missing.path()).filePath("dbscan.mdb"));
    QTemporaryDir damaged;
    testsupport::copyShippedFiles(damaged.path());
    dbtest::damagePagesHolding(QDir(damaged.path()).filePath("dbscan.mdb"), "CREATE TABLE", 1);
    QTemporaryDir locked;
    testsupport::copyShippedFiles(locked.path());
    const dbtest::ShortBusyTimeout quick;
    const dbtest::LockingProcess lock(QDir(locked.path()).filePath("dbscan.mdb"));
    return startFailurePicture(missing.path(), out.filePath("start-missing.png")) &&
           startFailurePicture(damaged.path(), out.filePath("start-damaged.png")) &&
           startFailurePicture(locked.path(), out.filePath("start-locked.png"));
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--hold-database-locked") == 0)
        return testsupport::holdDatabaseLocked(argv[2]); // the locked start's other program
    core::Application app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: orvane-screenshot OUTPUT_FOLDER\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    QTemporaryDir folder;
    testsupport::copyShippedFiles(folder.path());
    testsupport::runSql(folder.filePath("dbscan.mdb"),
                        "UPDATE tblAppendStr SET Use = 6 WHERE Name = 'Tab Unit Enter';"
                        "UPDATE tblAppendStr SET Use = 5 WHERE Name = 'Enter';"
                        "UPDATE tblAppendStr SET Use = 4 WHERE Name = 'Tab';"
                        "UPDATE tblSettings SET append = '<RetVal><TAB><UoM><RET>';"
                        "INSERT INTO tblCodelink VALUES ('0012345', 'WIDGET-7', 'Widget', 12)");
    core::setProgramFolder(folder.path());
    shell::frmTaskbar::setTrayAvailableOverride(true);

    auto* port = new testsupport::FakeCommControl;
    core::frmMain main{std::unique_ptr<platform::CommControl>(port)};
    shell::frmTaskbar taskbar(main);
    main.setTaskbar(&taskbar);
    taskbar.Load();
    main.Load();
    main.setWindowTitle(main.windowTitle() + QLatin1Char(' '));
    main.move(40, 40);
    main.show();
    main.cmdScan_Click(); // scanning on, as users mostly see it
    settle(800);
    if (!main.grab().save(out.filePath("main-window.png")))
        return 1;

    const QPoint at = main.frameGeometry().topRight() + QPoint(20, 10);
    taskbar.ShowMenu(at);
    QMenu* recent = taskbar.menu()->findChild<QMenu*>("MuAppend");
    settle(400);
    recent->popup(taskbar.menu()->geometry().topRight() +
                  QPoint(0, taskbar.menu()->actionGeometry(recent->menuAction()).top()));
    settle(600);
    const QRect area = taskbar.menu()->geometry().united(recent->geometry()).adjusted(-8, -8, 8, 8);
    const QPixmap screen = QGuiApplication::primaryScreen()->grabWindow(
        0, area.x(), area.y(), area.width(), area.height());
    if (!screen.save(out.filePath("tray-menu.png")))
        return 1;
    taskbar.menu()->close();
    main.cmdScan_Click(); // the setup windows are opened with scanning off

    auto* testPort = new testsupport::FakeCommControl;
    config::frmSetupScanner scanner(main, std::unique_ptr<platform::CommControl>(testPort));
    scanner.Load();
    scanner.move(60, 60);
    scanner.show();
    scanner.cmdTest_Click();
    testPort->pushText("0012345\r\n");
    settle(600);
    if (!scanner.grab().save(out.filePath("scanner-setup.png")))
        return 1;
    scanner.close();

    config::frmSetup setup(main);
    setup.Load();
    setup.move(60, 60);
    setup.show();
    settle(600);
    if (!setup.grab().save(out.filePath("system-setup.png")))
        return 1;

    config::frmCmdKeys keys(setup.appendEditor());
    keys.Load();
    keys.show();
    QTest::keyPress(&keys, Qt::Key_F2, Qt::ControlModifier);
    QTest::keyRelease(&keys, Qt::Key_F2, Qt::ControlModifier);
    settle(600);
    if (!keys.grab().save(out.filePath("command-keys.png")))
        return 1;
    keys.close();
    setup.close();
    return importPictures(folder.path(), out) && startFailurePictures(out) ? 0 : 1;
}

// orvane-screenshot OUTPUT_FOLDER
//
// Shows the main window and opens the tray menu on the display in $DISPLAY, on a temporary copy
// of the program folder, and saves pictures of both: main-window.png and tray-menu.png. Run by
// the display tests; the pictures in docs/ come from it.
#include "core/application.h"
#include "core/frm_main.h"
#include "core/program_folder.h"
#include "shell/frm_taskbar.h"
#include "support/fake_comm_control.h"
#include "support/program_folder_fixture.h"

#include <QDir>
#include <QMenu>
#include <QPixmap>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <cstdio>

namespace {

void settle(int ms) {
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
}

} // namespace

int main(int argc, char** argv) {
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
                        "UPDATE tblSettings SET append = '<RetVal><TAB><UoM><RET>'");
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
    return 0;
}

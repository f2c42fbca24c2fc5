#include "core/startup.h"

#include "core/application.h"
#include "core/frm_main.h"
#include "core/program_folder.h"
#include "core/shared_state.h"
#include "platform/app_error.h"
#include "platform/dialogs.h"
#include "platform/display_check.h"
#include "platform/error_report.h"
#include "platform/single_instance.h"
#include "shell/frm_splash.h"
#include "shell/frm_taskbar.h"

#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <QTime>

#include <cstdio>
#include <optional>

namespace core {

namespace {

QString native(const QString& path) {
    return QDir::toNativeSeparators(path);
}

} // namespace

QString StartupFailureText(const std::exception& error) {
    const auto* appError = dynamic_cast<const platform::AppError*>(&error);
    const QString detail =
        appError ? appError->description() : QString::fromLocal8Bit(error.what());
    const QString file = native(programFile(QStringLiteral("dbscan.mdb")));
    const QString folder = native(programFolder());
    QString what;
    QString todo;
    switch (appError ? appError->number() : 0) {
    case platform::err::FileNotFound:
        what = QStringLiteral("Its database %1 is missing.").arg(file);
        todo = QStringLiteral("Put dbscan.mdb back into %1: your last backup (File > Backup Data "
                              "writes one), or a fresh, empty one from the program's "
                              "installation package (or another workstation's program folder).")
                   .arg(folder);
        break;
    case platform::err::UnrecognizedFormat:
        what = QStringLiteral("Its database %1 cannot be read.").arg(file);
        todo = QStringLiteral("Open a terminal in %1 and run\r\n    orvane-translator repair\r\n"
                              "It keeps the damaged file as dbscan-damaged.mdb and rebuilds the "
                              "database from every row that can still be read. Or put your last "
                              "backup in its place.")
                   .arg(folder);
        break;
    case platform::err::FileLocked:
        what = QStringLiteral("Its database %1 is locked by another program.").arg(file);
        todo = QStringLiteral("Close the program that holds it: a copy of Orvane Translator run "
                              "by another user or from another workstation, an open sqlite3 shell, "
                              "or a backup or synchronisation tool working on the folder.");
        break;
    case platform::err::ReadOnly:
        what = QStringLiteral("Its database %1 cannot be written to.").arg(file);
        todo = QStringLiteral("Give your user account permission to change the file and its "
                              "folder %1, or copy the program folder to a place where you can "
                              "write.")
                   .arg(folder);
        break;
    default:
        what = QStringLiteral("Something went wrong while it loaded its settings.");
        todo = QStringLiteral("Check that %1 holds the program's files (dbscan.mdb, accsys.mdb, "
                              "CmdKeys.mdb, transltr.ini).")
                   .arg(folder);
        break;
    }
    return QStringLiteral("Orvane Translator cannot start. %1\r\n\r\n%2\r\n\r\nThen start the "
                          "program again.\r\n\r\n(%3)")
        .arg(what, todo, detail);
}

bool CheckDisplay(int argc, char** argv) {
    const std::optional<QString> problem = platform::WindowDisplayProblem(argc, argv);
    if (!problem)
        return true;
    std::fprintf(stderr,
                 "orvane-translator: the window cannot be shown: %s.\n"
                 "Start Orvane Translator on the desktop, or point DISPLAY at a running X "
                 "server.\nThe commands (import, export, lookup, backup ...) work without a "
                 "display: orvane-translator --help lists them.\n",
                 problem->toLocal8Bit().constData());
    return false;
}

QString ProgramFolderLockKey() {
    const QString canonical = QFileInfo(programFolder()).canonicalFilePath();
    QString folder = canonical.isEmpty() ? QDir::cleanPath(programFolder()) : canonical;
#ifdef Q_OS_WIN
    folder = folder.toLower(); // one folder, however its name is spelled
#endif
    return kInstanceKey + QStringLiteral(" in ") + folder;
}

void Pause(std::int16_t seconds) {
    const QTime end = QTime::currentTime().addSecs(seconds);
    while (end < QTime::currentTime())
        QCoreApplication::processEvents();
}

bool ActivateWindow(QWidget* window) {
    if (!window)
        return false;
    window->setWindowState((window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window->show();
    while (!window->isVisible()) {
        QCoreApplication::processEvents();
        QThread::msleep(10);
    }
    window->raise();
    window->activateWindow();
    return true;
}

void FindPreviousInstance(platform::SingleInstance& instance) {
    // A copy that is still starting up does not answer yet; this copy ends all the same.
    instance.activateFirst();
}

int Main(Application& app) {
    platform::SingleInstance instance(kInstanceKey);
    if (!instance.isFirst()) {
        FindPreviousInstance(instance);
        return 0;
    }

    platform::SingleInstance folderLock(ProgramFolderLockKey());
    if (!folderLock.isFirst()) {
        platform::msgBox(QStringLiteral("Orvane Translator cannot start while its database in %1 "
                                        "is being compacted or repaired from the command line. "
                                        "Start it again when that has finished.")
                             .arg(native(programFolder())),
                         platform::Buttons::Ok, platform::Icon::Critical, kAppTitle);
        return 1;
    }

    shell::frmSplash splash;
    splash.show();
    splash.repaint();
    QCoreApplication::processEvents();
    Pause(3);

    frmMain main;
    shell::frmTaskbar taskbar(main);
    main.setTaskbar(&taskbar);
    platform::setDialogParent(&main);
    taskbar.Load();
    try {
        main.Load();
    } catch (const std::exception& error) {
        splash.close();
        platform::msgBox(StartupFailureText(error), platform::Buttons::Ok, platform::Icon::Critical,
                         kAppTitle);
        return 1;
    }
    main.show();
    main.setWindowTitle(main.windowTitle() + QLatin1Char(' '));
    QObject::connect(&instance, &platform::SingleInstance::activationRequested, &main,
                     [&main] { ActivateWindow(&main); });
    instance.listen();
    splash.close();
    return app.exec();
}

} // namespace core

#include "core/startup.h"

#include "core/application.h"
#include "core/frm_main.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/single_instance.h"
#include "shell/frm_splash.h"
#include "shell/frm_taskbar.h"

#include <QThread>
#include <QTime>

namespace core {

namespace {
const QString kInstanceKey = QStringLiteral("Orvane Translator");
} // namespace

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
        platform::reportError(error);
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

#include "core/application.h"
#include "core/program_folder.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/error_report.h"

#include <QMainWindow>

int main(int argc, char** argv) {
    core::Application app(argc, argv);
    try {
        core::shared().strAppTitle = core::kAppTitle;
        core::shared().strDbPath = core::programFile(QStringLiteral("dbscan.mdb"));
        core::LoadSettings();
    } catch (const std::exception& error) {
        platform::reportError(error);
        return 1;
    }
    QMainWindow window;
    window.setWindowTitle(core::kAppTitle + QLatin1Char(' '));
    window.resize(420, 240);
    window.show();
    return app.exec();
}

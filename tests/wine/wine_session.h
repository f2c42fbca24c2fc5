#pragma once

// The Windows build run under Wine (Debian's wine64) on an Xvfb display, for the tests of the
// real Windows program. scripts/test-windows names the Windows build folder
// (ORVANE_WINDOWS_BUILD), a fresh Wine prefix (WINEPREFIX) and the display (DISPLAY).

#include "e2e/x11_session.h"
#include "support/checks.h"
#include "support/x11_windows.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <stdexcept>

namespace wine {

const QString kWine = QStringLiteral("/usr/lib/wine/wine64");
const QString kWineServer = QStringLiteral("/usr/lib/wine/wineserver");

inline QString windowsBuild() {
    return qEnvironmentVariable("ORVANE_WINDOWS_BUILD");
}

inline QString prefix() {
    return qEnvironmentVariable("WINEPREFIX");
}

inline bool available() {
    return !windowsBuild().isEmpty() && !prefix().isEmpty() &&
           QFileInfo(windowsBuild() + "/package/orvane-translator.exe").isFile();
}

// A Linux path as a Windows program under Wine names it (Z: is the Linux root).
inline QString windowsPath(const QString& path) {
    return QStringLiteral("Z:") + QFileInfo(path).absoluteFilePath().replace(u'/', u'\\');
}

inline QString packageFile(const QString& name) {
    return windowsBuild() + QStringLiteral("/package/") + name;
}

// The environment of a Windows program of the build: the package's Qt DLLs and plugins, no
// debug output from Wine. (Wine hands variables that begin with QT_ to Windows programs only when
// they are given with a WINE prefix.)
inline QProcessEnvironment environment() {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("WINEDEBUG", "-all");
    env.insert("WINEDLLOVERRIDES", "mscoree,mshtml=");
    env.insert("WINEPATH", windowsPath(windowsBuild() + "/package"));
    env.insert("WINEQT_PLUGIN_PATH", windowsPath(windowsBuild() + "/package"));
    return env;
}

// Starts a Windows program under Wine (arguments as the program gets them).
inline void start(QProcess& process, const QString& program, const QStringList& arguments,
                  const QProcessEnvironment& env = environment()) {
    process.setProcessEnvironment(env);
    process.start(kWine, QStringList{program} + arguments);
    if (!process.waitForStarted(10000))
        throw std::runtime_error("wine64 did not start");
}

struct Result {
    int exitCode = -1;
    QString output;
    QString error;
};

// Runs a Windows program to its end.
inline Result run(const QString& program, const QStringList& arguments,
                  const QProcessEnvironment& env = environment(), int timeoutMs = 120000) {
    QProcess process;
    start(process, program, arguments, env);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        return {-1, QString(), QStringLiteral("(timed out)")};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

// Ends every Windows program of the prefix and waits until they are gone.
inline void endAll() {
    QProcess::execute(kWineServer, {QStringLiteral("-k")});
    QProcess::execute(kWineServer, {QStringLiteral("-w")});
}

// Waits until every Windows program of the prefix has ended on its own (an installer's child).
inline void waitForAll() {
    QProcess::execute(kWineServer, {QStringLiteral("-w")});
}

} // namespace wine

#pragma once
// The program's command line run as a user runs it: the real executable in a program folder,
// headless, with its own settings store.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <stdexcept>

namespace importtest {

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

// The executable in folder, named as the build names it ("orvane-translator.exe" on Windows).
inline QString executableIn(const QString& folder) {
    return QDir(folder).filePath(QFileInfo(ORVANE_EXECUTABLE).fileName());
}

// Copies the executable into folder (a copy of the program folder), where it finds its files.
inline void installExecutable(const QString& folder) {
    if (!QFile::copy(ORVANE_EXECUTABLE, executableIn(folder)))
        throw std::runtime_error("cannot copy the executable into " + folder.toStdString());
}

// Runs the executable of folder without a display; the per-user settings are kept in
// settingsFolder when one is given.
inline Outcome runProgram(const QString& folder, const QStringList& arguments,
                          const QString& settingsFolder = QString()) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY"); // headless: no display is needed
    env.insert("QT_QPA_PLATFORM", "nonexistent-platform");
    if (!settingsFolder.isEmpty())
        env.insert("XDG_CONFIG_HOME", settingsFolder);
    process.setProcessEnvironment(env);
    process.start(executableIn(folder), arguments);
    process.waitForFinished(60000);
    // Text lines in UTF-8, with CR LF on Windows.
    const auto text = [](const QByteArray& bytes) {
        return QString::fromUtf8(bytes).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    };
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            text(process.readAllStandardOutput()), text(process.readAllStandardError())};
}

} // namespace importtest

#pragma once
// The program's command line run as a user runs it: the real executable in a program folder,
// headless, with its own settings store.

#include <QDir>
#include <QFile>
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

// Copies the executable into folder (a copy of the program folder), where it finds its files.
inline void installExecutable(const QString& folder) {
    if (!QFile::copy(ORVANE_EXECUTABLE, QDir(folder).filePath("orvane-translator")))
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
    process.start(QDir(folder).filePath("orvane-translator"), arguments);
    process.waitForFinished(60000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

} // namespace importtest

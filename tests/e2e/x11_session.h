#pragma once

// A private Xvfb display and the key receiving window on it, for the display tests and the
// keystroke benchmark (header-only: the benchmark is built without the test libraries).

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <stdexcept>

namespace e2e {

inline bool xvfbInstalled() {
    return !QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty();
}

// Runs Qt's event loop until done() or the time is up; returns done().
template <class Done>
bool pumpUntil(Done done, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return done();
}

inline void stop(QProcess& process) {
    process.terminate();
    if (!process.waitForFinished(5000))
        process.kill();
    process.waitForFinished(2000);
}

// Xvfb on a display number nobody uses, stopped with the object.
class XvfbDisplay {
public:
    XvfbDisplay() {
        const int first = 90 + int(QCoreApplication::applicationPid() % 400);
        for (int number = first; number < first + 40; ++number)
            if (tryStart(number))
                return;
        throw std::runtime_error("cannot start Xvfb on any display number");
    }
    ~XvfbDisplay() { stop(process_); }
    XvfbDisplay(const XvfbDisplay&) = delete;
    XvfbDisplay& operator=(const XvfbDisplay&) = delete;

    QString name() const { return QStringLiteral(":%1").arg(number_); }

private:
    bool tryStart(int number) {
        const QString socket = QStringLiteral("/tmp/.X11-unix/X%1").arg(number);
        if (QFile::exists(socket) || QFile::exists(QStringLiteral("/tmp/.X%1-lock").arg(number)))
            return false;
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(QStringLiteral("Xvfb"), {QStringLiteral(":%1").arg(number), "-screen", "0",
                                                "1024x768x24", "-nolisten", "tcp"});
        if (!process_.waitForStarted(5000))
            return false;
        const bool up = pumpUntil(
            [&] { return QFile::exists(socket) || process_.state() == QProcess::NotRunning; },
            15000);
        if (up && process_.state() == QProcess::Running) {
            number_ = number;
            return true;
        }
        process_.kill();
        process_.waitForFinished(2000);
        return false; // someone else took the number meanwhile
    }

    QProcess process_;
    int number_ = -1;
};

// The receiving window (orvane-keyreceiver) on a display, started focused.
class KeyReceiver {
public:
    KeyReceiver(const QString& program, const QString& display) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), display);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        process_.setProcessEnvironment(env);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(program, {outputPath(), readyPath()});
        const bool ready = pumpUntil(
            [&] { return QFile::exists(readyPath()) || process_.state() == QProcess::NotRunning; },
            20000);
        if (!ready || process_.state() != QProcess::Running)
            throw std::runtime_error("the key receiver did not get the focus");
    }
    ~KeyReceiver() { stop(process_); }
    KeyReceiver(const KeyReceiver&) = delete;
    KeyReceiver& operator=(const KeyReceiver&) = delete;

    // Everything received so far, in canonical send-key text.
    QString received() const {
        QFile file(outputPath());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    // What arrived after the first `from` characters once it ends with `marker` (the marker
    // left off); when the time is up, what arrived marked as such.
    QString waitForEnd(qsizetype from, const QString& marker, int timeoutMs = 30000) const {
        QString text;
        const bool done = pumpUntil(
            [&] {
                text = received().mid(from);
                return text.endsWith(marker);
            },
            timeoutMs);
        return done ? text.chopped(marker.size()) : QStringLiteral("(timed out) ") + text;
    }

private:
    QString outputPath() const { return dir_.filePath(QStringLiteral("keys.txt")); }
    QString readyPath() const { return dir_.filePath(QStringLiteral("ready")); }

    QTemporaryDir dir_;
    QProcess process_;
};

} // namespace e2e

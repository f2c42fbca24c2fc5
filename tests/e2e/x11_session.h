#pragma once

// A private Xvfb display and the key receiving window on it, for the display tests and the
// keystroke benchmark (header-only: the benchmark is built without the test libraries).

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <functional>
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

// The display's whole keyboard map, as xkbcomp writes it out.
inline QString keymapText(const QString& display) {
    QProcess xkbcomp;
    xkbcomp.start(QStringLiteral("xkbcomp"), {"-xkb", display, "-"});
    xkbcomp.waitForFinished(10000);
    return QString::fromUtf8(xkbcomp.readAllStandardOutput());
}

// Xvfb on a display number it picks itself among the free ones, stopped with the object.
class XvfbDisplay {
public:
    XvfbDisplay() {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // The number comes on standard output once the display takes clients.
        process_.start(QStringLiteral("Xvfb"),
                       {"-displayfd", "1", "-screen", "0", "1024x768x24", "-nolisten", "tcp"});
        while (!process_.canReadLine() && process_.waitForReadyRead(15000)) {
        }
        name_ = u':' + QString::fromLatin1(process_.readLine()).trimmed();
        if (name_ == u":")
            throw std::runtime_error("Xvfb did not start");
    }
    ~XvfbDisplay() { stop(process_); }

    QString name() const { return name_; }

private:
    QProcess process_;
    QString name_;
};

// A receiving window on a display, started focused, that writes down every key it gets: the
// Qt one (orvane-keyreceiver), the GTK 3 one (orvane-gtkreceiver) or xterm running
// orvane-ttyreceiver. `program` is that receiver program.
class KeyReceiver {
public:
    enum class Kind { Qt, Gtk, Xterm };

    KeyReceiver(const QString& program, const QString& display, Kind kind = Kind::Qt)
        : KeyReceiver([&](QProcess& process, const QString& output) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(QStringLiteral("DISPLAY"), display);
            environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
            process.setProcessEnvironment(environment);
            process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            if (kind == Kind::Xterm)
                process.start(QStringLiteral("xterm"),
                              {"-geometry", "80x24+0+0", "-u8", "-e", program, output});
            else if (kind == Kind::Gtk)
                process.start(program, {output});
            else
                process.start(program, {output, "-platform", "xcb"});
        }) {}

    // A receiver that start() starts with the file it is to write (as the Windows one under
    // Wine). The window makes the file once it has the focus.
    explicit KeyReceiver(const std::function<void(QProcess&, const QString&)>& start,
                         int focusTimeoutMs = 20000) {
        start(process_, outputPath());
        const bool ready = pumpUntil(
            [&] { return QFile::exists(outputPath()) || process_.state() == QProcess::NotRunning; },
            focusTimeoutMs);
        if (!ready || process_.state() != QProcess::Running)
            throw std::runtime_error("the key receiver did not get the focus");
    }
    ~KeyReceiver() { stop(process_); }

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

    QTemporaryDir dir_;
    QProcess process_;
};

} // namespace e2e

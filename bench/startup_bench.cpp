// Start-up of the real program on a 1,000,000-row tblCodelink: time from process start to the
// main window shown with its caption "Orvane Translator ", and resident memory after start.
// Targets: under 0.5 s, under 80 MB. Needs Xvfb; runs the program five times.
//   startup_bench PATH_TO_orvane-translator
#include "bench_support.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr long long kRows = 1'000'000;
const char* const kCaption = "Orvane Translator ";

// Watches a display for a top-level window that is mapped with the program's caption.
class CaptionWatch {
public:
    explicit CaptionWatch(const QString& display) {
        // The server may still be setting up right after its socket appeared.
        for (int i = 0; i < 100 && !display_; ++i) {
            display_ = XOpenDisplay(display.toLocal8Bit().constData());
            if (!display_)
                QThread::msleep(50);
        }
        if (!display_)
            throw std::runtime_error("cannot open the display");
        XSelectInput(display_, DefaultRootWindow(display_), SubstructureNotifyMask);
        XSync(display_, False);
    }
    ~CaptionWatch() { XCloseDisplay(display_); }

    // Waits until the window appears; false when the time is up.
    bool wait(int timeoutMs) {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < timeoutMs) {
            while (XPending(display_)) {
                XEvent event;
                XNextEvent(display_, &event);
                if (event.type == CreateNotify)
                    XSelectInput(display_, event.xcreatewindow.window, PropertyChangeMask);
                const Window window = event.type == MapNotify        ? event.xmap.window
                                      : event.type == PropertyNotify ? event.xproperty.window
                                                                     : 0;
                if (window && shownWithCaption(window))
                    return true;
            }
            QThread::usleep(200);
        }
        return false;
    }

private:
    bool shownWithCaption(Window window) {
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(display_, window, &attributes) ||
            attributes.map_state != IsViewable)
            return false;
        char* name = nullptr;
        const bool match =
            XFetchName(display_, window, &name) && name && std::string(name) == kCaption;
        if (name)
            XFree(name);
        return match;
    }

    Display* display_ = nullptr;
};

long residentKb(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

int startXvfb(QProcess& xvfb) {
    for (int number = 140; number < 180; ++number) {
        const QString socket = QStringLiteral("/tmp/.X11-unix/X%1").arg(number);
        if (QFile::exists(socket))
            continue;
        xvfb.start(QStringLiteral("Xvfb"), {QStringLiteral(":%1").arg(number), "-screen", "0",
                                            "1024x768x24", "-nolisten", "tcp"});
        if (!xvfb.waitForStarted(5000))
            break;
        for (int i = 0; i < 250 && !QFile::exists(socket); ++i)
            QThread::msleep(20);
        if (QFile::exists(socket) && xvfb.state() == QProcess::Running)
            return number;
        xvfb.kill();
        xvfb.waitForFinished(2000);
    }
    throw std::runtime_error("cannot start Xvfb");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: startup_bench PATH_TO_orvane-translator\n");
        return 2;
    }
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("program"));
    std::printf("Making a program folder with %lld rows in tblCodelink...\n", kRows);
    bench::makeProgramFolder(folder, kRows);
    QFile::copy(QString::fromLocal8Bit(argv[1]), folder + QStringLiteral("/orvane-translator"));
    QDir(dir.path()).mkpath(QStringLiteral("run"));

    QProcess xvfb;
    const QString display = QStringLiteral(":%1").arg(startXvfb(xvfb));
    std::vector<double> times;
    std::vector<long> memory;
    for (int run = 0; run < 5; ++run) {
        CaptionWatch watch(display);
        QProcess program;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), display);
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), dir.filePath(QStringLiteral("run")));
        program.setProcessEnvironment(env);
        QElapsedTimer clock;
        clock.start();
        program.start(folder + QStringLiteral("/orvane-translator"), {});
        const bool shown = watch.wait(10000);
        const double ms = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        QThread::msleep(1000);
        const long kb = residentKb(program.processId());
        program.terminate();
        program.waitForFinished(5000);
        if (!shown) {
            std::printf("run %d: the main window did not appear\n", run + 1);
            return 1;
        }
        times.push_back(ms);
        memory.push_back(kb);
        std::printf("run %d: main window shown after %.0f ms, resident memory %.1f MB\n", run + 1,
                    ms, kb / 1024.0);
    }
    xvfb.terminate();
    xvfb.waitForFinished(3000);
    std::sort(times.begin(), times.end());
    std::printf("Start-up with a %lld-row table: median %.0f ms, worst %.0f ms (target < 500 ms); "
                "resident memory up to %.1f MB (target < 80 MB)\n",
                kRows, times[times.size() / 2], times.back(),
                *std::max_element(memory.begin(), memory.end()) / 1024.0);
    return 0;
}

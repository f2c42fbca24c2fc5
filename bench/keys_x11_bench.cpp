// Keys per second the X11 typer gets into real receiving applications on a private Xvfb
// display at key delay 0, measured from type() until the application has written down the last
// key, and whether every key of every run arrived as sent. Three applications, each with its
// own copy of the keyboard map: the tests' Qt receiver, the GTK 3 receiver, and xterm. Three
// kinds of text: 10,000 characters on the layout (long enough that a moment the machine is
// busy elsewhere does not decide the rate); a few characters the layout lacks, among layout
// ones (lent keys, lent once); 631 characters of 61 distinct Greek and Cyrillic letters, far
// more than there are spare keys (lent in batches, each after the settle time).
//
// Xvfb runs no window manager, and a GTK 3 application without one asks the server at every
// key press whether one has come (a round trip per key, which caps it near 5,000 keys/s
// whoever types). Desktops have one, so the display here announces one the way a window
// manager does; ORVANE_NO_WM_CHECK=1 leaves it out.
//
// Needs Xvfb, xterm and the receivers (built with the tests: orvane-keyreceiver,
// orvane-gtkreceiver, orvane-ttyreceiver); set ORVANE_RECEIVER_DIR to their folder if it is not
// the build tree's tests/e2e. ORVANE_REMAP_SETTLE=n types with a settle time of n ms instead of
// the default, to find what the applications need.
#include "../tests/e2e/x11_session.h"
#include "platform/send_keys.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QStandardPaths>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

using Kind = e2e::KeyReceiver::Kind;

const QString kEndMarker = QStringLiteral("{F12}");

struct Receiver {
    Kind kind;
    const char* name;
    const char* program;
};
constexpr Receiver kReceivers[] = {{Kind::Qt, "Qt", "orvane-keyreceiver"},
                                   {Kind::Gtk, "GTK", "orvane-gtkreceiver"},
                                   {Kind::Xterm, "xterm", "orvane-ttyreceiver"}};

// The window manager's calling card: a window named in the root window's
// _NET_SUPPORTING_WM_CHECK that names itself there too. It lasts as long as its connection.
class WindowManagerCheck {
public:
    WindowManagerCheck()
        : display_(XOpenDisplay(nullptr)) {
        if (!display_)
            throw std::runtime_error("cannot open the display");
        const Window root = DefaultRootWindow(display_);
        const Window check = XCreateSimpleWindow(display_, root, -1, -1, 1, 1, 0, 0, 0);
        const Atom property = XInternAtom(display_, "_NET_SUPPORTING_WM_CHECK", False);
        for (const Window on : {check, root})
            XChangeProperty(display_, on, property, XA_WINDOW, 32, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(&check), 1);
        XSync(display_, False);
    }
    ~WindowManagerCheck() { XCloseDisplay(display_); }
    WindowManagerCheck(const WindowManagerCheck&) = delete;
    WindowManagerCheck& operator=(const WindowManagerCheck&) = delete;

private:
    Display* display_;
};

QString g_receiverDir;
std::unique_ptr<e2e::XvfbDisplay> g_display;
std::unique_ptr<WindowManagerCheck> g_windowManager;
std::unique_ptr<platform::KeyTyper> g_typer;
std::unique_ptr<e2e::KeyReceiver> g_receiver;
const Receiver* g_running = nullptr;

// The receiver of that kind, started (focused) when another one was running. A freshly
// started application does one-time work on its first keys (fetching the keyboard map,
// filling its caches); a few keys before the timed runs keep that out of them, as an
// application that has long been open has done it.
e2e::KeyReceiver& receiver(const Receiver& wanted) {
    if (g_running != &wanted) {
        g_receiver.reset();
        g_receiver = std::make_unique<e2e::KeyReceiver>(g_receiverDir + u'/' + wanted.program,
                                                        g_display->name(), wanted.kind);
        g_running = &wanted;
        g_typer->type(platform::ParseSendKeys(QStringLiteral("Warm up 0123456789.") + kEndMarker));
        g_receiver->waitForEnd(0, kEndMarker);
    }
    return *g_receiver;
}

QString repeated(const QString& piece, int length) {
    QString text;
    while (text.size() < length)
        text += piece;
    return text.left(length);
}

// 61 letters, each needing a key of its own: Greek small letters (final sigma has no capital
// of its own), Russian small letters and four Ukrainian ones, over and over.
QString greekAndCyrillic() {
    QString letters;
    for (const auto& [first, last] : {std::pair{U'α', U'ω'}, {U'а', U'я'}})
        for (char32_t c = first; c <= last; ++c)
            letters += QString::fromUcs4(&c, 1);
    letters += QStringLiteral("ёєії");
    return repeated(letters, 631);
}

void typeText(benchmark::State& state, const Receiver& target, const char* name,
              const QString& text) {
    e2e::KeyReceiver& window = receiver(target);
    const platform::KeyActions actions = platform::ParseSendKeys(text + kEndMarker);
    const QString expected = platform::DescribeKeys(platform::ParseSendKeys(text));
    bool allArrived = true;
    double slowest = 1e300;
    double fastest = 0;
    for (auto _ : state) {
        const qsizetype from = window.received().size();
        QElapsedTimer timer;
        timer.start();
        g_typer->type(actions);
        const QString got = window.waitForEnd(from, kEndMarker, 120000);
        const double seconds = double(timer.nsecsElapsed()) / 1e9;
        state.SetIterationTime(seconds);
        if (got != expected) {
            allArrived = false;
            qsizetype at = 0;
            while (at < got.size() && at < expected.size() && got[at] == expected[at])
                ++at;
            std::fprintf(stderr, "%s/%s: from character %lld on, expected \"%s\", got \"%s\"\n",
                         target.name, name, static_cast<long long>(at),
                         qPrintable(expected.mid(at, 20)), qPrintable(got.mid(at, 20)));
        }
        slowest = std::min(slowest, double(actions.size()) / seconds);
        fastest = std::max(fastest, double(actions.size()) / seconds);
    }
    state.counters["slowest_keys_per_second"] = slowest;
    state.counters["all_arrived"] = allArrived ? 1 : 0;
    std::printf("%-6s %-30s %8.0f - %8.0f keys/s, all arrived: %s\n", target.name, name, slowest,
                fastest, allArrived ? "yes" : "NO");
}

void registerBenchmarks() {
    const std::pair<const char*, QString> texts[] = {
        {"characters on the layout",
         repeated(QStringLiteral("The Quick Brown Fox 0123456789 jumps, over. "), 10000)},
        {"few foreign characters", repeated(QStringLiteral("Größe é ø Ω € ß "), 1000)},
        {"61 Greek and Cyrillic letters", greekAndCyrillic()},
    };
    for (const Receiver& target : kReceivers)
        for (const auto& [name, text] : texts)
            benchmark::RegisterBenchmark(
                (std::string(target.name) + '/' + name).c_str(),
                [&target, name = name, text = text](benchmark::State& state) {
                    typeText(state, target, name, text);
                })
                ->UseManualTime()
                ->Iterations(3)
                ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    g_receiverDir =
        qEnvironmentVariable("ORVANE_RECEIVER_DIR", QCoreApplication::applicationDirPath() +
                                                        QStringLiteral("/../tests/e2e"));
    for (const Receiver& target : kReceivers) {
        if (!QFileInfo(g_receiverDir + u'/' + target.program).isExecutable()) {
            std::fprintf(stderr, "needs the receivers in %s\n", qPrintable(g_receiverDir));
            return 1;
        }
    }
    if (!e2e::xvfbInstalled() ||
        QStandardPaths::findExecutable(QStringLiteral("xterm")).isEmpty()) {
        std::fprintf(stderr, "needs Xvfb and xterm\n");
        return 1;
    }
    g_display = std::make_unique<e2e::XvfbDisplay>();
    qputenv("DISPLAY", g_display->name().toLocal8Bit());
    if (qEnvironmentVariableIntValue("ORVANE_NO_WM_CHECK") == 0)
        g_windowManager = std::make_unique<WindowManagerCheck>();
    g_typer = platform::createSystemTyper();
    if (const QString settle = qEnvironmentVariable("ORVANE_REMAP_SETTLE"); !settle.isEmpty())
        g_typer->setRemapSettle(std::chrono::milliseconds(settle.toInt()));

    registerBenchmarks();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    g_typer.reset();
    g_receiver.reset();
    g_windowManager.reset();
    g_display.reset();
    return 0;
}

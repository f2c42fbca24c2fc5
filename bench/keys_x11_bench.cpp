// Keys per second the X11 typer gets into a real receiving window (orvane-keyreceiver on a
// private Xvfb display) at key delay 0, measured from type() until the window has written down
// the last key, and whether every key arrived as sent. Three kinds of text: characters on the
// layout, a few characters the layout lacks (typed on lent spare keys, lent once), and more
// distinct foreign characters than there are spare keys (keys lent again and again, each after
// its settle time).
//
// Needs Xvfb and the receiver (built with the tests: target orvane-keyreceiver); set
// ORVANE_KEYRECEIVER to its path if it is not in the build tree's tests/e2e.
#include "../tests/e2e/x11_session.h"
#include "platform/send_keys.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <utility>

namespace {

const QString kEndMarker = QStringLiteral("{F12}");

std::unique_ptr<e2e::XvfbDisplay> g_display;
std::unique_ptr<e2e::KeyReceiver> g_receiver;
std::unique_ptr<platform::KeyTyper> g_typer;

QString repeated(const QString& piece, int length) {
    QString text;
    while (text.size() < length)
        text += piece;
    return text.left(length);
}

// Greek, Cyrillic and Hebrew: more distinct characters than the typer has spare keys.
QString foreignAlphabet() {
    QString text;
    for (const auto& [first, last] : {std::pair{U'α', U'ω'}, {U'А', U'Я'}, {U'א', U'ת'}})
        for (char32_t c = first; c <= last; ++c)
            text += QString::fromUcs4(&c, 1);
    return text;
}

void typeText(benchmark::State& state, const QString& text, const char* label) {
    const platform::KeyActions actions = platform::ParseSendKeys(text + kEndMarker);
    const QString expected = platform::DescribeKeys(platform::ParseSendKeys(text));
    bool allArrived = true;
    double seconds = 0;
    for (auto _ : state) {
        const qsizetype from = g_receiver->received().size();
        QElapsedTimer timer;
        timer.start();
        g_typer->type(actions);
        const QString got = g_receiver->waitForEnd(from, kEndMarker, 120000);
        const double elapsed = double(timer.nsecsElapsed()) / 1e9;
        state.SetIterationTime(elapsed);
        seconds += elapsed;
        allArrived = allArrived && got == expected;
    }
    const double keys = double(actions.size()) * double(state.iterations());
    state.counters["keys_per_second"] = keys / seconds;
    state.counters["all_arrived"] = allArrived ? 1 : 0;
    std::printf("%-28s %8.0f keys/s, all arrived: %s\n", label, keys / seconds,
                allArrived ? "yes" : "NO");
}

void LayoutCharacters(benchmark::State& state) {
    typeText(state, repeated(QStringLiteral("The Quick Brown Fox 0123456789 jumps, over. "), 2000),
             "characters on the layout");
}

void FewForeignCharacters(benchmark::State& state) {
    typeText(state, repeated(QStringLiteral("Größe é ø Ω € ß "), 1000), "few foreign characters");
}

void ManyForeignCharacters(benchmark::State& state) {
    const QString alphabet = foreignAlphabet();
    typeText(state, repeated(alphabet + alphabet.toLower(), 500), "many foreign characters");
}

QString receiverProgram() {
    const QString configured = qEnvironmentVariable("ORVANE_KEYRECEIVER");
    if (!configured.isEmpty())
        return configured;
    return QCoreApplication::applicationDirPath() +
           QStringLiteral("/../tests/e2e/orvane-keyreceiver");
}

} // namespace

BENCHMARK(LayoutCharacters)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(FewForeignCharacters)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(ManyForeignCharacters)->UseManualTime()->Iterations(2)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString receiver = receiverProgram();
    if (!e2e::xvfbInstalled() || !QFileInfo(receiver).isExecutable()) {
        std::fprintf(stderr, "needs Xvfb and the key receiver (%s)\n", qPrintable(receiver));
        return 1;
    }
    g_display = std::make_unique<e2e::XvfbDisplay>();
    qputenv("DISPLAY", g_display->name().toLocal8Bit());
    g_receiver = std::make_unique<e2e::KeyReceiver>(receiver, g_display->name());
    g_typer = platform::createSystemTyper();

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    g_typer.reset();
    g_receiver.reset();
    g_display.reset();
    return 0;
}

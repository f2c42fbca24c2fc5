// The Windows program under Wine (these are Wine figures on Linux, not Windows figures):
//   (a) start-up of orvane-translator.exe on a 1,000,000-row tblCodelink, from process start to
//       the captioned main window, five runs;
//   (b) the time from a scan's last byte written to the COM port (a socat pair that Wine maps to
//       COM5) to the last key of its text arriving in the receiving window built for Windows,
//       over 1,000 scans: median and 99th percentile.
// Needs the Windows build (scripts/build-windows) and Xvfb; makes its own Wine prefix.
//   wine_bench PATH_TO_build-windows
#include "bench_support.h"
#include "support/program_folder_fixture.h"
#include "support/socat_pair.h"
#include "wine/wine_session.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr long long kRows = 1'000'000;
constexpr int kScans = 1000;
const QString kMain = QStringLiteral("Orvane Translator ");

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(share * double(values.size())))];
}

void startUp(const QString& folder, testsupport::TopLevelWindows& windows) {
    std::vector<double> times;
    for (int run = 0; run < 5; ++run) {
        QProcess program;
        QElapsedTimer clock;
        clock.start();
        wine::start(program, folder + "/orvane-translator.exe", {});
        const bool shown = e2e::pumpUntil([&] { return windows.shown(kMain); }, 60000);
        times.push_back(double(clock.nsecsElapsed()) / 1e6);
        wine::endAll();
        if (!shown)
            throw std::runtime_error("the main window did not appear");
        std::printf("run %d: main window after %.0f ms\n", run + 1, times.back());
    }
    std::printf("(a) start-up with a %lld-row table under Wine: median %.0f ms, worst %.0f ms\n",
                kRows, percentile(times, 0.5), percentile(times, 1.0));
}

qint64 sizeOf(const QString& file) {
    return QFileInfo(file).size();
}

void scanLatency(const QString& folder, testsupport::TopLevelWindows& windows) {
    testsupport::SocatPair pair;
    const QString com5 = wine::prefix() + "/dosdevices/com5";
    QFile::remove(com5);
    QFile::link(pair.port(), com5);
    testsupport::runSql(folder + "/dbscan.mdb", "UPDATE tblSettings SET autostart = 1, ACK = 0, "
                                                "ComPort = '5', append = '<RetVal><RET>'");
    QTemporaryDir keys;
    const QString received = keys.filePath("keys.txt");
    QProcess receiver;
    wine::start(receiver, wine::windowsBuild() + "/tests/e2e/orvane-keyreceiver.exe",
                {wine::windowsPath(received)});
    e2e::pumpUntil([&] { return QFile::exists(received); }, 60000);
    QProcess program;
    wine::start(program, folder + "/orvane-translator.exe", {});
    e2e::pumpUntil([&] { return windows.shown(kMain); }, 60000);
    if (!windows.focus("Orvane key receiver", 1000))
        throw std::runtime_error("the receiving window did not take the focus");
    // Each scan types "ITEM-<i>" and Enter, written down as "{ENTER}": its last key.
    std::vector<double> latencies;
    for (int i = 0; i < kScans; ++i) {
        const qint64 before = sizeOf(received);
        const qint64 expected = before + qint64(("ITEM-" + std::to_string(i) + "{ENTER}").size());
        pair.writeToPeer(QByteArray::fromStdString(bench::scanCode(i)) + "\r\n");
        QElapsedTimer clock;
        clock.start();
        while (sizeOf(received) < expected && clock.elapsed() < 10000)
            QThread::usleep(100);
        if (sizeOf(received) < expected)
            throw std::runtime_error("scan " + std::to_string(i) + " did not arrive");
        latencies.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    wine::endAll();
    std::printf("(b) last byte of a scan to its last key under Wine, %d scans: median %.2f ms, "
                "99th percentile %.2f ms\n",
                kScans, percentile(latencies, 0.5), percentile(latencies, 0.99));
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: wine_bench PATH_TO_build-windows\n");
        return 2;
    }
    QTemporaryDir dir;
    qputenv("ORVANE_WINDOWS_BUILD",
            QFileInfo(QString::fromLocal8Bit(argv[1])).absoluteFilePath().toLocal8Bit());
    qputenv("WINEPREFIX", dir.filePath("prefix").toLocal8Bit());
    qputenv("WINEDLLOVERRIDES", "mscoree,mshtml=");
    e2e::XvfbDisplay display;
    qputenv("DISPLAY", display.name().toLocal8Bit());
    std::printf("Making a Wine prefix...\n");
    wine::run("wineboot", {"--init"});
    // Without a window manager, the window that takes the X focus becomes the foreground one.
    wine::run("reg",
              {"add", "HKCU\\Software\\Wine\\X11 Driver", "/v", "UseTakeFocus", "/d", "N", "/f"});
    wine::waitForAll();

    // The package's program, with the benchmark's database in place of the shipped one.
    const QString folder = dir.filePath("program");
    QDir().mkpath(folder);
    QProcess::execute("cp", {"-r", wine::windowsBuild() + "/package/.", folder});
    std::printf("Making a program folder with %lld rows in tblCodelink...\n", kRows);
    bench::makeProgramFolder(folder, kRows);
    testsupport::TopLevelWindows windows(display.name());
    startUp(folder, windows);
    scanLatency(folder, windows);
    return 0;
}

// A scanner unplugged and plugged back in: the time from the device's return to the first scan
// typed, over 20 unplug/replug cycles of a socat pair under a scanning session (socat ended, then
// started again under the same link names). The scanner sends a scan as soon as it is back; the
// session must notice the device, open it and type the scan. Prints the median and the range.
// A pseudo terminal is not announced by udev, so this measures the look at the device's path
// (every 250 ms); a USB scanner announced by udev is opened as soon as udev has set it up. The
// device stays away a little longer in each cycle (0.3 s, then 13 ms more each time), so that its
// return falls at every point between two looks, as a real replug does.
#include "bench_support.h"
#include "core/program_folder.h"
#include "core/scan_session.h"
#include "core/settings.h"
#include "core/shared_state.h"
#include "platform/send_keys.h"
#include "platform/serial_comm_control.h"
#include "support/socat_pair.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kCycles = 20;

// Runs the event loop until done() or 5 s are up; returns done(). Asked after every event, so
// the time of the event that made it true is taken, without spinning a core meanwhile.
template <class Done>
bool runUntil(Done done) {
    QTimer wake; // at least this often, also when nothing else happens
    wake.start(5);
    const QDeadlineTimer deadline(5000);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    bench::makeProgramFolder(dir.path(), 10);
    core::setProgramFolder(dir.path());
    core::LoadSettings();
    testsupport::SocatPair pair;
    core::SharedState& state = core::shared();
    state.ComPort = pair.port();
    state.CRLF = true;
    state.RetAsScan = true;
    state.append = QStringLiteral("{RetVal}~");
    platform::RecordingTyper typer;
    platform::setKeyTyper(&typer);
    platform::SerialCommControl serial;
    core::ScanSession session(serial);
    session.start();

    std::vector<double> millis;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        pair.killPeer();
        if (!runUntil([&] { return session.waiting(); })) {
            std::printf("cycle %d: the session did not notice the scanner going\n", cycle);
            return 1;
        }
        const size_t typed = typer.calls().size();
        QElapsedTimer away;
        away.start();
        runUntil([&] { return away.elapsed() >= 300 + 13 * cycle; });
        pair.restart();
        QElapsedTimer clock;
        clock.start();
        pair.writeToPeer("BACK" + QByteArray::number(cycle) + "\r\n");
        if (!runUntil([&] { return typer.calls().size() > typed; })) {
            std::printf("cycle %d: no scan typed after the scanner came back\n", cycle);
            return 1;
        }
        millis.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    session.stop();
    platform::setKeyTyper(nullptr);

    std::sort(millis.begin(), millis.end());
    std::printf("scanner back to first scan typed, %d unplug/replug cycles of a socat pair: median "
                "%.1f ms (fastest %.1f ms, slowest %.1f ms); the device is looked for every "
                "%lld ms\n",
                kCycles, (millis[kCycles / 2 - 1] + millis[kCycles / 2]) / 2, millis.front(),
                millis.back(),
                static_cast<long long>(platform::SerialDeviceWatch::kPollInterval.count()));
    return 0;
}

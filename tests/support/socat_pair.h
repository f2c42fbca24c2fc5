#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <chrono>

namespace testsupport {

// A real serial pair for tests: socat joins two pseudo terminals and puts a link to each in a
// temporary folder. The code under test opens port(); the test plays the scanner at peer().
//   socat pty,raw,echo=0,link=<dir>/<portName> pty,raw,echo=0,link=<dir>/<peerName>
// The constructor returns once both links exist; the destructor ends socat. Setup failures
// (socat missing, links not appearing, the far end not writable) throw std::runtime_error.
class SocatPair {
public:
    using Timeout = std::chrono::milliseconds;
    static constexpr Timeout kDefaultTimeout{5000};

    explicit SocatPair(const QString& portName = QStringLiteral("ttyScanPort"),
                       const QString& peerName = QStringLiteral("ttyScanPeer"));
    ~SocatPair();
    SocatPair(const SocatPair&) = delete;
    SocatPair& operator=(const SocatPair&) = delete;

    QString port() const { return dir_.filePath(portName_); }
    QString peer() const { return dir_.filePath(peerName_); }
    bool running() const { return socat_.state() != QProcess::NotRunning; }

    // Ends socat: both pseudo terminals vanish, as a pulled USB adapter would, and the links go.
    void killPeer();
    // A fresh pair under the same two links (the devices behind them are new ones).
    void restart();

    // The far end. Bytes are written whole, or std::runtime_error is thrown.
    void writeToPeer(QByteArrayView bytes, Timeout timeout = kDefaultTimeout);
    // Reads from the far end until `count` bytes came or the time is up; returns what came.
    // Qt events are processed while waiting, so a port under test can finish its writes.
    QByteArray readFromPeer(qsizetype count, Timeout timeout = kDefaultTimeout);

    // The line settings the port's device has now, read from the system through a descriptor
    // opened when the pair started.
    struct LineSettings {
        int baudRate = 0; // 0 when not one of the usual rates
        char parity = 'N';
        int dataBits = 0;
        int stopBits = 0;
    };
    LineSettings portLineSettings() const;

private:
    void start();
    void waitForLinks();
    int peerHandle(); // opens the far end on first use and keeps it open
    void closeHandles();

    QTemporaryDir dir_;
    QString portName_;
    QString peerName_;
    QProcess socat_;
    int peerFd_ = -1;
    int portWatchFd_ = -1; // see portLineSettings()
};

} // namespace testsupport

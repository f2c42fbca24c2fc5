#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <chrono>
#include <termios.h>

namespace testsupport {

// A real serial pair for tests: socat joins two pseudo terminals and puts a link to each in a
// temporary folder. The code under test opens port(); the test plays the scanner at peer().
//   socat pty,raw,echo=0,link=<dir>/ttyScanPort pty,raw,echo=0,link=<dir>/ttyScanPeer
// The constructor returns once both links exist and both ends are open; the destructor ends
// socat. Setup failures (socat missing, no links, an end not opening) throw std::runtime_error.
class SocatPair {
public:
    using Timeout = std::chrono::milliseconds;
    static constexpr Timeout kDefaultTimeout{5000};

    SocatPair();
    ~SocatPair();
    SocatPair(const SocatPair&) = delete;
    SocatPair& operator=(const SocatPair&) = delete;

    QString port() const { return dir_.filePath(portName_); }
    QString peer() const { return dir_.filePath("ttyScanPeer"); }

    // Ends socat: both pseudo terminals vanish, as a pulled USB adapter would, and the links go.
    void killPeer();
    // A fresh pair (the devices behind the links are new ones), its port under the link name
    // given ("ttyScanPort" at first): the same as before, or another, as when a USB scanner comes
    // back as ttyACM1. The port's link appears only once both ends are open here, so that code
    // waiting for the port cannot open it (and make it exclusive) first.
    void restart(const QString& portName = QStringLiteral("ttyScanPort"));

    // The far end. Bytes are written whole (a write waits while the line is full), or
    // std::runtime_error is thrown.
    void writeToPeer(QByteArrayView bytes);
    // Reads from the far end until `count` bytes came or the time is up; returns what came.
    // Qt events are processed while waiting, so a port under test can finish its writes.
    QByteArray readFromPeer(qsizetype count, Timeout timeout = kDefaultTimeout);

    // The speed and stop bits the port's device has now (a pseudo terminal keeps 8 data bits and
    // no parity whatever is asked), read through a descriptor opened when the pair started.
    struct LineSettings {
        speed_t speed = B0; // B9600 and so on
        int stopBits = 0;
        bool operator==(const LineSettings&) const = default;
    };
    LineSettings portLineSettings() const;

private:
    void start();

    QTemporaryDir dir_;
    QString portName_ = QStringLiteral("ttyScanPort");
    QProcess socat_;
    int peerFd_ = -1;
    int portWatchFd_ = -1; // see portLineSettings()
};

} // namespace testsupport

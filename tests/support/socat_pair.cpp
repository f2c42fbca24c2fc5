#include "support/socat_pair.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>

namespace testsupport {

namespace {

constexpr int kPollSliceMs = 10;

[[noreturn]] void fail(const QString& what) {
    throw std::runtime_error("SocatPair: " + what.toStdString());
}

int openEnd(const QString& link, int mode) {
    const int fd = ::open(QFile::encodeName(link).constData(), mode | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        fail("cannot open " + link + ": " + qt_error_string(errno));
    return fd;
}

} // namespace

SocatPair::SocatPair() {
    if (!dir_.isValid())
        fail("no temporary folder");
    start();
}

SocatPair::~SocatPair() {
    killPeer();
}

void SocatPair::start() {
    const QString program = QStandardPaths::findExecutable("socat");
    if (program.isEmpty())
        fail("socat is not installed");
    const QString making = port() + ".making";
    socat_.start(program, {"pty,raw,echo=0,link=" + making, "pty,raw,echo=0,link=" + peer()});
    if (!socat_.waitForStarted())
        fail("cannot start socat: " + socat_.errorString());
    const QDeadlineTimer deadline(kDefaultTimeout);
    // exists() follows the links, so a stale one from an earlier run does not count.
    while (!(QFileInfo::exists(making) && QFileInfo::exists(peer()))) {
        if (deadline.hasExpired() || socat_.state() == QProcess::NotRunning)
            fail("socat made no links: " + QString::fromLocal8Bit(socat_.readAllStandardError()));
        QThread::msleep(kPollSliceMs);
    }
    // Opened now, before the code under test opens the port and makes it exclusive (TIOCEXCL):
    // afterwards only this descriptor can still read the line settings.
    portWatchFd_ = openEnd(making, O_RDONLY | O_NONBLOCK);
    peerFd_ = openEnd(peer(), O_RDWR); // blocking: a write returns once all of it is taken
    if (::rename(QFile::encodeName(making).constData(), QFile::encodeName(port()).constData()) != 0)
        fail("cannot name the port's link " + port() + ": " + qt_error_string(errno));
}

void SocatPair::killPeer() {
    for (int* fd : {&peerFd_, &portWatchFd_}) {
        if (*fd >= 0)
            ::close(*fd);
        *fd = -1;
    }
    if (socat_.state() == QProcess::NotRunning)
        return;
    QFile::remove(port()); // socat would remove it under the name it made it with
    socat_.terminate();    // socat removes its other link on SIGTERM
    if (!socat_.waitForFinished(static_cast<int>(kDefaultTimeout.count()))) {
        socat_.kill();
        socat_.waitForFinished();
    }
}

void SocatPair::restart(const QString& portName) {
    killPeer();
    portName_ = portName;
    start();
}

void SocatPair::writeToPeer(QByteArrayView bytes) {
    if (::write(peerFd_, bytes.data(), static_cast<size_t>(bytes.size())) != bytes.size())
        fail("writing to the far end failed: " + qt_error_string(errno));
}

QByteArray SocatPair::readFromPeer(qsizetype count, Timeout timeout) {
    const QDeadlineTimer deadline(timeout);
    QByteArray bytes;
    while (bytes.size() < count && !deadline.hasExpired()) {
        pollfd watch{peerFd_, POLLIN, 0};
        const bool ready = ::poll(&watch, 1, kPollSliceMs) > 0 && (watch.revents & POLLIN) != 0;
        QCoreApplication::processEvents(); // the port under test may be writing still
        if (!ready)
            continue;
        char chunk[256];
        const ssize_t n =
            ::read(peerFd_, chunk, std::min<size_t>(sizeof chunk, count - bytes.size()));
        if (n > 0)
            bytes.append(chunk, n);
    }
    return bytes;
}

SocatPair::LineSettings SocatPair::portLineSettings() const {
    termios tio{};
    if (portWatchFd_ < 0 || ::tcgetattr(portWatchFd_, &tio) != 0)
        fail("cannot read the port's line settings");
    return {cfgetispeed(&tio), (tio.c_cflag & CSTOPB) != 0 ? 2 : 1};
}

} // namespace testsupport

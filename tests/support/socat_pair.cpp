#include "support/socat_pair.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
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

int baudOf(speed_t speed) {
    switch (speed) {
    case B1200:
        return 1200;
    case B2400:
        return 2400;
    case B4800:
        return 4800;
    case B9600:
        return 9600;
    case B19200:
        return 19200;
    case B38400:
        return 38400;
    case B57600:
        return 57600;
    case B115200:
        return 115200;
    default:
        return 0;
    }
}

int dataBitsOf(tcflag_t cflag) {
    switch (cflag & CSIZE) {
    case CS5:
        return 5;
    case CS6:
        return 6;
    case CS7:
        return 7;
    default:
        return 8;
    }
}

char parityOf(tcflag_t cflag) {
    if ((cflag & PARENB) == 0)
        return 'N';
    const bool odd = (cflag & PARODD) != 0;
    if ((cflag & CMSPAR) != 0)
        return odd ? 'M' : 'S';
    return odd ? 'O' : 'E';
}

// Waits up to a slice for the descriptor to be ready, letting Qt run in between.
bool waitReady(int fd, short events) {
    pollfd watch{fd, events, 0};
    const bool ready = ::poll(&watch, 1, kPollSliceMs) > 0 && (watch.revents & events) != 0;
    QCoreApplication::processEvents();
    return ready;
}

} // namespace

SocatPair::SocatPair(const QString& portName, const QString& peerName)
    : portName_(portName)
    , peerName_(peerName) {
    if (!dir_.isValid())
        fail(QStringLiteral("no temporary folder"));
    start();
}

SocatPair::~SocatPair() {
    killPeer();
}

void SocatPair::start() {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("socat"));
    if (program.isEmpty())
        fail(QStringLiteral("socat is not installed"));
    const auto end = [](const QString& link) {
        return QStringLiteral("pty,raw,echo=0,link=") + link;
    };
    socat_.start(program, {end(port()), end(peer())});
    if (!socat_.waitForStarted())
        fail(QStringLiteral("cannot start socat: ") + socat_.errorString());
    waitForLinks();
    // Opened now, before the code under test opens the port and makes it exclusive (TIOCEXCL):
    // afterwards only this descriptor can still read the line settings.
    portWatchFd_ =
        ::open(QFile::encodeName(port()).constData(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (portWatchFd_ < 0)
        fail(QStringLiteral("cannot open the port's device: ") + qt_error_string(errno));
}

void SocatPair::waitForLinks() {
    const QDeadlineTimer deadline(kDefaultTimeout);
    // exists() follows the links, so a stale one from an earlier run does not count.
    while (!(QFileInfo::exists(port()) && QFileInfo::exists(peer()))) {
        if (deadline.hasExpired() || !running())
            fail(QStringLiteral("socat made no links: ") +
                 QString::fromLocal8Bit(socat_.readAllStandardError()));
        QThread::msleep(kPollSliceMs);
    }
}

void SocatPair::killPeer() {
    closeHandles();
    if (!running())
        return;
    socat_.terminate(); // socat removes its links on SIGTERM
    if (!socat_.waitForFinished(static_cast<int>(kDefaultTimeout.count()))) {
        socat_.kill();
        socat_.waitForFinished();
    }
}

void SocatPair::restart() {
    killPeer();
    start();
}

int SocatPair::peerHandle() {
    if (peerFd_ < 0) {
        peerFd_ = ::open(QFile::encodeName(peer()).constData(),
                         O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (peerFd_ < 0)
            fail(QStringLiteral("cannot open the far end: ") + qt_error_string(errno));
    }
    return peerFd_;
}

void SocatPair::closeHandles() {
    for (int* fd : {&peerFd_, &portWatchFd_}) {
        if (*fd >= 0)
            ::close(*fd);
        *fd = -1;
    }
}

void SocatPair::writeToPeer(QByteArrayView bytes, Timeout timeout) {
    const int fd = peerHandle();
    const QDeadlineTimer deadline(timeout);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n =
            ::write(fd, bytes.data() + done, static_cast<size_t>(bytes.size() - done));
        if (n > 0) {
            done += n;
        } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
            fail(QStringLiteral("writing to the far end failed: ") + qt_error_string(errno));
        } else if (deadline.hasExpired()) {
            fail(QStringLiteral("the far end took no more bytes"));
        } else {
            waitReady(fd, POLLOUT);
        }
    }
}

QByteArray SocatPair::readFromPeer(qsizetype count, Timeout timeout) {
    const int fd = peerHandle();
    const QDeadlineTimer deadline(timeout);
    QByteArray bytes;
    while (bytes.size() < count && !deadline.hasExpired()) {
        if (!waitReady(fd, POLLIN))
            continue;
        char chunk[256];
        const ssize_t n = ::read(fd, chunk, std::min<size_t>(sizeof chunk, count - bytes.size()));
        if (n > 0)
            bytes.append(chunk, n);
    }
    return bytes;
}

SocatPair::LineSettings SocatPair::portLineSettings() const {
    termios tio{};
    if (portWatchFd_ < 0 || ::tcgetattr(portWatchFd_, &tio) != 0)
        fail(QStringLiteral("cannot read the port's line settings"));
    return {baudOf(cfgetispeed(&tio)), parityOf(tio.c_cflag), dataBitsOf(tio.c_cflag),
            (tio.c_cflag & CSTOPB) != 0 ? 2 : 1};
}

} // namespace testsupport

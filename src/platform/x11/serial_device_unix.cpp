#include "platform/serial_device.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

std::optional<QString> g_linksFolder;

SerialDeviceClaim::Status statusOfOpenError(int error) {
    switch (error) {
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case ENOTDIR:
        return SerialDeviceClaim::Status::NoSuchDevice;
    case EBUSY: // another opener set TIOCEXCL
        return SerialDeviceClaim::Status::InUse;
    case EACCES:
    case EPERM:
        return SerialDeviceClaim::Status::AccessDenied;
    case EISDIR:
        return SerialDeviceClaim::Status::NotSerial;
    default:
        return SerialDeviceClaim::Status::Failed;
    }
}

} // namespace

QString serialPortForNumber(int number) {
    return QStringLiteral("/dev/ttyS%1").arg(number - 1);
}

QString serialDeviceLocation(const QString& name) {
    const bool isPath = name.startsWith(u'/') || name.startsWith(QLatin1String("./")) ||
                        name.startsWith(QLatin1String("../"));
    return isPath ? name : QStringLiteral("/dev/") + name;
}

bool serialDeviceExists(const QString& location) {
    return ::access(QFile::encodeName(location).constData(), F_OK) == 0; // follows links
}

QList<SerialDeviceLink> stableSerialDeviceLinks() {
    const QDir root(g_linksFolder.value_or(QStringLiteral("/dev/serial")));
    QList<SerialDeviceLink> links;
    QSet<QString> devices;
    // by-id first: its names stay with the device when it moves to another socket.
    for (const char* kind : {"by-id", "by-path"}) {
        const QDir folder(root.filePath(QLatin1String(kind)));
        for (const QFileInfo& entry : folder.entryInfoList(
                 QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name)) {
            const QString device = entry.canonicalFilePath(); // empty for a dangling link
            if (device.isEmpty() || devices.contains(device))
                continue;
            devices.insert(device);
            links.append({entry.absoluteFilePath(), device});
        }
    }
    return links;
}

void setSerialLinksFolderOverride(std::optional<QString> folder) {
    g_linksFolder = std::move(folder);
}

SerialDeviceClaim SerialDeviceClaim::claim(const QString& location) {
    SerialDeviceClaim result;
    // Non-blocking, so that a modem port without carrier does not hang the open.
    const int fd =
        ::open(QFile::encodeName(location).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        const int error = errno;
        result.status_ = statusOfOpenError(error);
        result.reason_ = qt_error_string(error);
        return result;
    }
    result.handle_ = fd;
    if (!::isatty(fd)) {
        result.status_ = Status::NotSerial;
        result.reason_ = QStringLiteral("not a serial device");
    } else if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        result.status_ = error == EWOULDBLOCK ? Status::InUse : Status::Failed;
        result.reason_ = qt_error_string(error);
    } else {
        result.status_ = Status::Claimed;
        return result;
    }
    result.release();
    return result;
}

SerialDeviceClaim::SerialDeviceClaim(SerialDeviceClaim&& other) noexcept
    : status_(std::exchange(other.status_, Status::Failed))
    , reason_(std::move(other.reason_))
    , handle_(std::exchange(other.handle_, -1)) {}

SerialDeviceClaim& SerialDeviceClaim::operator=(SerialDeviceClaim&& other) noexcept {
    if (this != &other) {
        release();
        status_ = std::exchange(other.status_, Status::Failed);
        reason_ = std::move(other.reason_);
        handle_ = std::exchange(other.handle_, -1);
    }
    return *this;
}

SerialDeviceClaim::~SerialDeviceClaim() {
    release();
}

void SerialDeviceClaim::release() {
    if (handle_ >= 0)
        ::close(static_cast<int>(handle_)); // closing the descriptor drops the lock
    handle_ = -1;
}

bool SerialDeviceClaim::pseudoTerminal() const {
    char name[256];
    return handle_ >= 0 && ::ttyname_r(static_cast<int>(handle_), name, sizeof name) == 0 &&
           QLatin1String(name).startsWith(QLatin1String("/dev/pts/"));
}

bool SerialDeviceClaim::hungUp() const {
    if (handle_ < 0)
        return false;
    // Hang-up and error are reported whatever events are asked for.
    pollfd watch{static_cast<int>(handle_), 0, 0};
    return ::poll(&watch, 1, 0) > 0 && (watch.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

} // namespace platform

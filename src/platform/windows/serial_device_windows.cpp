#include "platform/serial_device.h"

#include <string>
#include <utility>
#include <windows.h>

namespace platform {

QString serialPortForNumber(int number) {
    return QStringLiteral("COM%1").arg(number);
}

QString serialDeviceLocation(const QString& name) {
    return name;
}

// A COM port that exists has a DOS device name ("COM3"), also while another program holds it.
bool serialDeviceExists(const QString& location) {
    QString name = location;
    if (name.startsWith(QLatin1String("\\\\.\\")))
        name = name.mid(4); // "\\.\COM10", the form ports above 9 are opened by
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW(name.toStdWString().c_str(), target, MAX_PATH) != 0;
}

QList<SerialDeviceLink> stableSerialDeviceLinks() {
    return {};
}

void setSerialLinksFolderOverride(std::optional<QString>) {}

// Windows refuses a second open of a serial port by itself (QSerialPort reports it as a
// permission error), and reports an unplugged adapter as a resource error, so there is nothing
// to hold or to watch here.
SerialDeviceClaim SerialDeviceClaim::claim(const QString&) {
    SerialDeviceClaim result;
    result.status_ = Status::Claimed;
    return result;
}

SerialDeviceClaim::SerialDeviceClaim(SerialDeviceClaim&& other) noexcept
    : status_(std::exchange(other.status_, Status::Failed))
    , reason_(std::move(other.reason_))
    , handle_(std::exchange(other.handle_, -1)) {}

SerialDeviceClaim& SerialDeviceClaim::operator=(SerialDeviceClaim&& other) noexcept {
    status_ = std::exchange(other.status_, Status::Failed);
    reason_ = std::move(other.reason_);
    handle_ = std::exchange(other.handle_, -1);
    return *this;
}

SerialDeviceClaim::~SerialDeviceClaim() = default;

void SerialDeviceClaim::release() {
    handle_ = -1;
}

bool SerialDeviceClaim::pseudoTerminal() const {
    return false;
}

bool SerialDeviceClaim::hungUp() const {
    return false;
}

} // namespace platform

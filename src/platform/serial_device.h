#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>

// What differs between systems in reaching a serial device: how ports are named, and how a port
// is held for one user and watched for going away. Implemented per system in x11/ (Linux and
// other Unix systems) and windows/.
namespace platform {

// The system's name for serial port number n, counted from 1: "COM<n>" on Windows,
// "/dev/ttyS<n-1>" on Linux.
QString serialPortForNumber(int number);

// Where a device name is found: "ttyUSB0" is "/dev/ttyUSB0" on Linux (as QSerialPort reads it);
// paths and Windows names stay as they are.
QString serialDeviceLocation(const QString& name);

// Whether the device is there now: on Linux its path exists (a link counts when what it points
// at exists), on Windows the system knows the name. Cheap enough to ask several times a second.
bool serialDeviceExists(const QString& location);

// A stable name of a serial device, and the device it points at now.
struct SerialDeviceLink {
    QString link;   // "/dev/serial/by-id/usb-Maker_Scanner_0042-if00"
    QString device; // "/dev/ttyACM0"
};

// The stable names the system keeps for its serial devices, one per device. On Linux these are
// udev's links in /dev/serial: by-id (maker, product and serial number: the name follows the
// device to any USB socket) where the device has one, else by-path (the USB socket: for devices
// without a serial number). Windows keeps a device's COM number by itself, so there the list is
// empty.
QList<SerialDeviceLink> stableSerialDeviceLinks();

// Tests point the search for stable names at a folder of their own instead of /dev/serial.
void setSerialLinksFolderOverride(std::optional<QString> folder);

// An exclusive claim on a serial device for the time a port is open. On Linux the claim is a
// lock on the device itself, taken before the port is opened: lock files alone miss a second
// opener that uses another name for the same device (a symbolic link), and TIOCEXCL does not
// stop the superuser. Windows opens serial ports exclusively by itself, so there the claim
// always succeeds and the port's own open reports a busy device.
class SerialDeviceClaim {
public:
    enum class Status { Claimed, NoSuchDevice, NotSerial, InUse, AccessDenied, Failed };

    static SerialDeviceClaim claim(const QString& location);

    SerialDeviceClaim() = default;
    SerialDeviceClaim(SerialDeviceClaim&& other) noexcept;
    SerialDeviceClaim& operator=(SerialDeviceClaim&& other) noexcept;
    SerialDeviceClaim(const SerialDeviceClaim&) = delete;
    SerialDeviceClaim& operator=(const SerialDeviceClaim&) = delete;
    ~SerialDeviceClaim();

    Status status() const { return status_; }
    bool claimed() const { return status_ == Status::Claimed; }
    // The system's words for a failed claim.
    const QString& reason() const { return reason_; }

    // True for a pseudo terminal (a virtual serial pair such as socat makes): it has no line,
    // so it keeps 8 data bits and no parity whatever is asked.
    bool pseudoTerminal() const;

    // True once the claimed device has hung up: unplugged, or the far end of a pseudo terminal
    // closed. Cheap enough to ask several times a second.
    bool hungUp() const;

private:
    void release();

    Status status_ = Status::Failed;
    QString reason_;
    qintptr handle_ = -1;
};

} // namespace platform

#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

// The serial port as the scanning code drives it: a settings text, a port, an input buffer and
// receive threshold, open/close, the count of waiting bytes, read-all and write. Failures are
// AppErrors with the numbers users know from the original program:
//   380  Invalid property value (a settings text that is not "baud,parity,data,stop")
//   8002 Invalid port number (no such port, port 0)
//   8005 Port already open (also when another program holds the port)
//   8010 The hardware is not available (the port exists but cannot be opened)
//   8012 Port not open (a write to a closed port)
//   8020 A read or write failed
namespace platform {

namespace err {
inline constexpr int CommInvalidPort = 8002;
inline constexpr int CommPortAlreadyOpen = 8005;
inline constexpr int CommHardwareUnavailable = 8010;
inline constexpr int CommPortNotOpen = 8012;
inline constexpr int CommReadWriteFailed = 8020;
} // namespace err

class CommControl : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // "9600,N,8,1": baud, parity N E O M S, data bits 5-8, stop bits 1, 1.5 or 2.
    virtual void setSettings(const QString& settings) = 0;
    virtual QString settings() const = 0;
    // A port number ("1" is COM1 on Windows, /dev/ttyS0 on Linux) or a device name or path
    // ("/dev/ttyUSB0", "COM7"), used as it stands.
    virtual void setCommPort(const QString& port) = 0;
    virtual QString commPort() const = 0;
    virtual void setInBufferSize(int bytes) = 0;
    // 0: no receive events; n >= 1: a receive event when at least n bytes wait.
    virtual void setRThreshold(int bytes) = 0;
    virtual void setPortOpen(bool open) = 0;
    virtual bool portOpen() const = 0;
    virtual int inBufferCount() const = 0;
    // Everything waiting, as text, removed from the input buffer.
    virtual QString input() = 0;
    virtual void output(const QByteArray& bytes) = 0;

Q_SIGNALS:
    // The receive event: bytes are waiting (only while the receive threshold is at least 1).
    void received();
    // The port went away while open (a USB adapter pulled, the other end of a pair closed).
    // The port is closed when this is sent; description says what happened.
    void lost(const QString& description);
};

} // namespace platform

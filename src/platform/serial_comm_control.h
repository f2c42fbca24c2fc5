#pragma once

#include "platform/comm_control.h"
#include "platform/comm_settings.h"
#include "platform/serial_device.h"
#include "platform/serial_text.h"

#include <QSerialPort>
#include <QTimer>

#include <chrono>

namespace platform {

// A serial device the system has, as a port setting names it, with what the system knows of it.
struct SerialPortChoice {
    QString port;  // "/dev/serial/by-id/usb-Maker_Scanner_0042-if00", "/dev/ttyS0", "COM3"
    QString label; // "Maker Scanner, serial number 0042 (/dev/ttyACM0)"; may be empty
};

// The serial devices the system has now: first those with a stable name (stableSerialDeviceLinks,
// labelled with the device the name points at now), then the others under their own names
// ("/dev/ttyS0" on Linux, "COM3" on Windows), in the system's order.
QList<SerialPortChoice> availableSerialPorts();

// The serial port the scanner is wired to, over QSerialPort.
//
// Port: setCommPort() takes a number ("1" is COM1 on Windows, /dev/ttyS0 on Linux) or a device
// name or path used as it stands ("/dev/ttyUSB0", "COM7"); blanks around it are ignored. It
// cannot change while the port is open (8005). The default is port 1 with "9600,N,8,1".
//
// Opening: setPortOpen(true) fails with
//   8002 when there is no such device, or it is not a serial device;
//   8005 when this object has the port open already, or another program or object holds it;
//   8010 when the device exists but cannot be opened (no permission, driver failure);
//   380  when the device refuses the settings (a pseudo terminal, which has no line, takes
//        any settings).
// The port is opened without touching the modem lines (DTR/RTS), which pseudo terminals and many
// USB adapters do not have. Settings set while the port is open apply to it at once.
//
// Receiving: with a receive threshold n >= 1, received() is sent whenever at least n bytes wait
// (0 sends nothing; the bytes can still be read). received() is not sent again while one of its
// handlers is still running, even if that handler lets events run: such a handler should keep
// reading while inBufferCount() is above 0. Do not delete this object from a received() handler
// (deleteLater() is fine). The input buffer size caps how many bytes this object takes from
// the system; further bytes wait in the system's own buffer and are not lost.
//
// Text: input() decodes the waiting bytes as UTF-8 where they form valid UTF-8; every byte that
// is not part of valid UTF-8 is taken as a Latin-1 character. A multi-byte character split
// across two reads is completed by the next read: input() holds back an incomplete character at
// the end (it is not counted by inBufferCount()) and returns it with the bytes that follow. If
// nothing follows within incompleteCharacterWait(), the held bytes are taken as Latin-1 after
// all, counted again and announced by received(), so that a Latin-1 character at the very end of
// a scan is not held until the next scan. The wait must stay below the quiet time that ends a
// scan (ten ticks of the "Timeout" in transltr.ini: 100 ms as shipped).
//
// Loss: a port that goes away while open (USB adapter pulled, the program that made a pseudo
// terminal ended, reads or writes failing) is noticed at once from the port's errors and within
// kHangUpCheckInterval otherwise. The port is then closed, and lost() is sent once, from the
// event loop, so its handler may reopen the port or delete this object. Reopening works once the
// device is back. A write that finds the port gone throws 8020 as well.
//
// A closed port has no bytes waiting: inBufferCount() is 0 and input() is empty; output() on a
// closed port throws 8012.
class SerialCommControl final : public CommControl {
    Q_OBJECT
public:
    static constexpr std::chrono::milliseconds kDefaultIncompleteCharacterWait{50};
    static constexpr std::chrono::milliseconds kHangUpCheckInterval{250};
    static constexpr int kDefaultInBufferSize = 1024;

    explicit SerialCommControl(QObject* parent = nullptr);
    ~SerialCommControl() override;

    void setSettings(const QString& settings) override;
    QString settings() const override;
    void setCommPort(const QString& port) override;
    QString commPort() const override;
    void setInBufferSize(int bytes) override;
    void setRThreshold(int bytes) override;
    void setPortOpen(bool open) override;
    bool portOpen() const override;
    int inBufferCount() const override;
    QString input() override;
    void output(const QByteArray& bytes) override;

    int inBufferSize() const { return inBufferSize_; }
    int rThreshold() const { return rThreshold_; }
    // The device the port text stands for ("/dev/ttyS0" for "1" on Linux); throws 8002 as
    // setPortOpen would for a port number out of range.
    QString deviceName() const;
    std::chrono::milliseconds incompleteCharacterWait() const { return incompleteCharacterWait_; }
    void setIncompleteCharacterWait(std::chrono::milliseconds wait);

private:
    void open();
    void close();
    SerialDeviceClaim claimDevice(const QString& location) const;
    void openClaimedPort(const QString& location);
    void applySettings(const CommSettings& settings);
    bool applyEach(const CommSettings& settings);
    void onReadyRead();
    void onPortError(QSerialPort::SerialPortError error);
    void onIncompleteCharacterWaitOver();
    void checkHangUp();
    void noteLoss(const QString& what);
    void finishLoss(quint64 session, const QString& description);
    void emitReceivedIfDue();

    QSerialPort port_;
    SerialDeviceClaim claim_;
    SerialTextDecoder decoder_;
    QTimer hangUpCheck_;
    QTimer incompleteCharacter_;
    CommSettings settings_;
    QString commPort_ = QStringLiteral("1");
    int inBufferSize_ = kDefaultInBufferSize;
    int rThreshold_ = 0;
    std::chrono::milliseconds incompleteCharacterWait_ = kDefaultIncompleteCharacterWait;
    bool heldBytesGivenUp_ = false; // the held incomplete character counts as Latin-1 now
    quint64 session_ = 0;           // counts opens, so a late loss report cannot hit a new one
    bool lossNoted_ = false;
};

} // namespace platform

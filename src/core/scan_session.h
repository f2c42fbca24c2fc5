#pragma once

#include "core/scan_framer.h"
#include "platform/database.h"
#include "platform/serial_device_watch.h"

#include <QObject>

#include <optional>

namespace platform {
class CommControl;
}

namespace core {

// Scanning switched on and off, and the reception of scans while it is on.
//
// While on, the translation database and its tblCodelink table stay open, and the port is open
// with a receive event for every byte. Received characters collect in the shared scan buffer
// and are cut into scans by ScanFramer: at CR LF when CRLF is set, else when the line has been
// quiet for ten ticks of intTimeout milliseconds (the ticks count in intTickCount).
//
// A port that goes away while scanning is on (the scanner unplugged, a hub reset) is closed at
// once, and the session waits for the device: scanning stays on, and the port is opened again
// with the same settings as soon as the device is back. "AutoReconnect=0" in transltr.ini turns
// the waiting off: scanning then stops with a message.
class ScanSession : public QObject {
    Q_OBJECT
public:
    explicit ScanSession(platform::CommControl& port, QObject* parent = nullptr);
    ~ScanSession() override;

    bool isOn() const { return codelink_.has_value(); }
    // On, with the port gone: waiting for the scanner to be back.
    bool waiting() const { return watch_.watching(); }
    // The device scanning reads from, as its user knows it: "/dev/ttyS0" (or "COM1") for port 1,
    // a path or link as stored.
    QString scannerDevice() const;

    // Switches scanning on: clears the buffer, opens the translation database and tblCodelink,
    // reads "Timeout" (and "KeyDelay") from transltr.ini, configures and opens the port. A
    // failure is thrown with everything opened so far closed again, and scanning stays off.
    void start();
    // Switches scanning off: closes the table and database, closes the port, stops the timer,
    // ends a wait for the scanner.
    void stop();

    // Tray status for the current state: 0 on (translation), 1 off, 2 on (keyboard wedge).
    int trayStatus() const;

    // The quiet-tick timer (the main window's Timer1): interval 0 means stopped.
    int timerInterval() const { return framer_.timerInterval(); }

Q_SIGNALS:
    // After every start and stop, including the stop forced by a lost port.
    void stateChanged(bool on);
    // The port went away and the session waits for it; then it is back and scanning goes on.
    void scannerLost();
    void scannerBack();
    // A scan arrived while a window of this program had the keyboard focus: it was neither typed
    // (it would have landed in the program's own controls) nor acknowledged, so the scanner
    // signals the failure.
    void scanRefused();

private:
    void onPortLost(const QString& description);
    void reopen();
    void deliver(const QString& scan);
    void closeTranslationTable();

    platform::CommControl& port_;
    ScanFramer framer_;
    std::optional<platform::Database> database_;
    std::optional<platform::Table> codelink_;
    platform::SerialDeviceWatch watch_;
    bool serverLostTold_ = false;
    bool oneScanPerLine_ = false;
    bool autoReconnect_ = true;
};

} // namespace core

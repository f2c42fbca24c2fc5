#pragma once

#include "platform/database.h"

#include <QObject>
#include <QTimer>

#include <optional>

namespace platform {
class CommControl;
}

namespace core {

// Scanning switched on and off, and the reception of scans while it is on.
//
// While on, the translation database and its tblCodelink table stay open, and the port is open
// with a receive event for every byte. Received characters collect in the shared scan buffer
// until a scan is complete:
//  - line mode (CRLF set): when the buffer holds a CR LF pair;
//  - quiet mode: when the line has been quiet for ten ticks of intTimeout milliseconds (with a
//    time-out of 0, every receive event delivers what has arrived).
// One trailing CR LF, or a buffer that is a lone Tab, is trimmed before delivery.
//
// The waiting of quiet mode is a timer, not a nested event loop: a new chunk restarts the count,
// the tenth tick delivers. Each tick adds one to intTickCount, as before.
class ScanSession : public QObject {
    Q_OBJECT
public:
    explicit ScanSession(platform::CommControl& port, QObject* parent = nullptr);
    ~ScanSession() override;

    bool isOn() const { return codelink_.has_value(); }

    // Switches scanning on: clears the buffer, opens the translation database and tblCodelink,
    // reads "Timeout" (and "KeyDelay") from transltr.ini, configures and opens the port. A
    // failure is thrown with everything opened so far closed again, and scanning stays off.
    void start();
    // Switches scanning off: closes the table and database, closes the port, stops the timer.
    void stop();

    // Tray status for the current state: 0 on (translation), 1 off, 2 on (keyboard wedge).
    int trayStatus() const;

    // The quiet-tick timer (the main window's Timer1): interval 0 means stopped.
    int timerInterval() const { return timer_.isActive() ? timer_.interval() : 0; }

Q_SIGNALS:
    // After every start and stop, including the stop forced by a lost port.
    void stateChanged(bool on);

private:
    void onReceived();
    void onTick();
    void onPortLost(const QString& description);
    void receiveLines();
    void receiveUntilQuiet();
    void finishQuietScan();
    void deliverBuffer();
    void closeTranslationTable();

    platform::CommControl& port_;
    QTimer timer_;
    std::optional<platform::Database> database_;
    std::optional<platform::Table> codelink_;
};

// Drops one scanner ending: a buffer that is a lone Tab, or a CR LF at the end of a longer one.
void TrimScanEnding(QString& buffer);

} // namespace core

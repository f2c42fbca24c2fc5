#pragma once

#include <QString>

#include <cstdint>

namespace core {

// The one process-wide record of settings and scanning state. It starts zeroed (empty texts,
// False, 0) and lives until the program ends. The settings fields are filled by LoadSettings and
// changed by the setup windows when they save.
struct SharedState {
    // Settings, from the first row of tblSettings.
    QString ComPort;        // port number as text, or a device path
    QString PortSetting;    // "baud,parity,data bits,stop bits"
    bool CRLF = false;      // a scan ends at CR LF (else when the line goes quiet)
    bool ACK = false;       // acknowledge each delivered scan with 0x06
    bool autostart = false; // start scanning when the main window has loaded
    QString Accounting;     // accounting system in use
    QString append;         // the output template, in send-key form
    bool RetAsScan = false; // keyboard wedge mode: type scans untranslated
    QString SharedDataBase; // path of the shared translation database
    bool IsDBShared = false;

    // Scanning.
    QString strScanBuffer;         // received and not yet delivered
    std::int16_t intTimeout = 0;   // quiet-line tick length in milliseconds
    std::int16_t intTickCount = 0; // quiet ticks since the last received chunk
    bool blnTesting = false;       // the scanner setup window's test is running

    QString strAppTitle; // "Orvane Translator"
    QString strDbPath;   // the program folder's dbscan.mdb
};

SharedState& shared();

// Back to the zeroed start state (used by tests that run several start-ups in one process).
void resetSharedState();

inline const QString kAppTitle = QStringLiteral("Orvane Translator");

} // namespace core

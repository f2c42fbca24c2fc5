#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace platform {
class Recordset;
}

namespace core {

// The settings columns of the first row of tblSettings, as stored: append in stored token form.
struct StoredSettings {
    QString Accounting;
    QString ComPort;     // "1" for Null
    QString PortSetting; // "9600,N,8,1" for Null
    bool RetAsScan = false;
    bool CRLF = false;
    bool ACK = false;
    bool autostart = false;
    QString append;
    QString SharedDataBase; // "" for Null
    bool IsDBShared = false;
    // The item map window's last choices ("" for Null).
    QString Source;
    QString CustomScan;
    QString CustomReturn;
};

// Reads the first row of tblSettings in the program folder's dbscan.mdb (never the shared
// database). ComPort, PortSetting and SharedDataBase have defaults for Null; a Null anywhere
// else, a missing file, table or column is an error. Empty when the table has no row.
std::optional<StoredSettings> ReadStoredSettings();

// Fills the settings fields of the shared record from tblSettings (ReadStoredSettings), with
// append converted to send-key form. An empty table leaves the record as it was.
void LoadSettings();

// Edits the first row of tblSettings in the program folder's dbscan.mdb: write(row) sets the
// fields, and the row is saved. With no row nothing is written and false is returned.
bool EditSettingsRow(const std::function<void(platform::Recordset& row)>& write);

} // namespace core

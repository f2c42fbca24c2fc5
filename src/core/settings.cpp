#include "core/settings.h"

#include "core/program_folder.h"
#include "core/shared_state.h"
#include "core/tokens.h"
#include "platform/conversions.h"
#include "platform/database.h"

namespace core {

namespace {

QString textOr(const QVariant& value, const QString& fallback) {
    return platform::isNull(value) ? fallback : platform::toText(value);
}

platform::Database openSettingsFile() {
    return platform::Database::open(programFile(QStringLiteral("dbScan")));
}

} // namespace

std::optional<StoredSettings> ReadStoredSettings() {
    using platform::toBool;
    using platform::toText;

    platform::Database db = openSettingsFile();
    platform::Recordset rs = db.openRecordset(QStringLiteral("SELECT * FROM tblSettings"));
    if (rs.recordCount() == 0)
        return std::nullopt;
    rs.moveFirst();
    StoredSettings row;
    row.Accounting = toText(rs.value(QStringLiteral("Accounting")));
    row.ComPort = textOr(rs.value(QStringLiteral("ComPort")), QStringLiteral("1"));
    row.PortSetting = textOr(rs.value(QStringLiteral("PortSetting")), QStringLiteral("9600,N,8,1"));
    row.RetAsScan = toBool(rs.value(QStringLiteral("RetAsScan")));
    row.CRLF = toBool(rs.value(QStringLiteral("CRLF")));
    row.ACK = toBool(rs.value(QStringLiteral("ACK")));
    row.autostart = toBool(rs.value(QStringLiteral("autostart")));
    row.append = toText(rs.value(QStringLiteral("append")));
    row.SharedDataBase = textOr(rs.value(QStringLiteral("SharedDataBase")), QString());
    row.IsDBShared = toBool(rs.value(QStringLiteral("IsDBShared")));
    row.Source = textOr(rs.value(QStringLiteral("Source")), QString());
    row.CustomScan = textOr(rs.value(QStringLiteral("CustomScan")), QString());
    row.CustomReturn = textOr(rs.value(QStringLiteral("CustomReturn")), QString());
    return row;
}

void LoadSettings() {
    // The whole row is read before the record changes, so that a bad row leaves it as it was.
    const std::optional<StoredSettings> row = ReadStoredSettings();
    if (!row)
        return;
    SharedState& state = shared();
    state.Accounting = row->Accounting;
    state.ComPort = row->ComPort;
    state.PortSetting = row->PortSetting;
    state.RetAsScan = row->RetAsScan;
    state.CRLF = row->CRLF;
    state.ACK = row->ACK;
    state.autostart = row->autostart;
    state.append = StoredToSendKeys(row->append);
    state.SharedDataBase = row->SharedDataBase;
    state.IsDBShared = row->IsDBShared;
}

bool EditSettingsRow(const std::function<void(platform::Recordset& row)>& write) {
    platform::Database db = openSettingsFile();
    platform::Recordset rs = db.openRecordset(QStringLiteral("SELECT * FROM tblSettings"));
    if (rs.recordCount() == 0)
        return false;
    rs.moveFirst();
    rs.edit();
    write(rs);
    rs.update();
    return true;
}

} // namespace core

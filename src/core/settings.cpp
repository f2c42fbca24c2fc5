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

} // namespace

void LoadSettings() {
    using platform::toBool;
    using platform::toText;

    platform::Database db = platform::Database::open(programFile(QStringLiteral("dbScan")));
    platform::Recordset rs = db.openRecordset(QStringLiteral("SELECT * FROM tblSettings"));
    if (rs.recordCount() == 0)
        return;
    rs.moveFirst();
    // Read into a copy first, so that a bad row leaves the record as it was.
    SharedState next = shared();
    next.Accounting = toText(rs.value(QStringLiteral("Accounting")));
    next.ComPort = textOr(rs.value(QStringLiteral("ComPort")), QStringLiteral("1"));
    next.PortSetting =
        textOr(rs.value(QStringLiteral("PortSetting")), QStringLiteral("9600,N,8,1"));
    next.RetAsScan = toBool(rs.value(QStringLiteral("RetAsScan")));
    next.CRLF = toBool(rs.value(QStringLiteral("CRLF")));
    next.ACK = toBool(rs.value(QStringLiteral("ACK")));
    next.autostart = toBool(rs.value(QStringLiteral("autostart")));
    next.append = StoredToSendKeys(toText(rs.value(QStringLiteral("append"))));
    next.SharedDataBase = textOr(rs.value(QStringLiteral("SharedDataBase")), QString());
    next.IsDBShared = toBool(rs.value(QStringLiteral("IsDBShared")));
    shared() = std::move(next);
}

} // namespace core

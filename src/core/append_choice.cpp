#include "core/append_choice.h"

#include "db/db_path.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/jet_sql.h"

namespace core {

namespace {

constexpr int kNewestRank = 6;

// Moves every ranked string down one place; the one just set to 7 ends at 6.
void rankDown(platform::Database& db) {
    platform::Recordset ranked = db.openRecordset(
        QStringLiteral("SELECT tblAppendStr.Use From tblAppendStr Where (((tblAppendStr.Use) > "
                       "0)) ORDER BY tblAppendStr.Use;"));
    for (ranked.moveFirst(); !ranked.eof(); ranked.moveNext()) {
        ranked.edit();
        ranked.setValue(QStringLiteral("Use"),
                        platform::toDouble(ranked.value(QStringLiteral("Use"))) - 1);
        ranked.update();
    }
}

} // namespace

std::optional<AppendString> ChooseAppendString(const QString& name) {
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Recordset row = db.openRecordset(
        QStringLiteral("SELECT tblAppendStr.* From tblAppendStr WHERE (((tblAppendStr.Name)='") +
        platform::SqlQuote(name) + QStringLiteral("'));"));
    if (row.eof())
        return std::nullopt;
    const AppendString chosen{platform::toText(row.value(QStringLiteral("Name"))),
                              platform::toText(row.value(QStringLiteral("String")))};
    const QVariant use = row.value(QStringLiteral("Use"));
    const double rank = platform::isNull(use) ? 0 : platform::toDouble(use);
    if (rank < kNewestRank) {
        row.edit();
        row.setValue(QStringLiteral("Use"), kNewestRank + 1);
        row.update();
        rankDown(db);
    }
    return chosen;
}

QStringList RecentAppendNames() {
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Recordset ranked = db.openRecordset(
        QStringLiteral("SELECT tblAppendStr.Name From tblAppendStr Where (((tblAppendStr.Use) > "
                       "0)) ORDER BY tblAppendStr.Use DESC;"));
    QStringList names;
    for (ranked.moveFirst(); !ranked.eof(); ranked.moveNext())
        names << platform::toText(ranked.value(QStringLiteral("Name")));
    return names;
}

} // namespace core

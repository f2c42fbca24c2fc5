#include "db/schema.h"

#include "platform/conversions.h"
#include "platform/database.h"

namespace db {

bool TableExists(platform::Database& database, const QString& name) {
    return database.hasTable(name);
}

bool FieldExists(platform::Database& database, const QString& table, const QString& field) {
    return database.hasField(table, field);
}

void AddField(platform::Database& database, const QString& table, const QString& field, int type,
              int size) {
    database.addField(table, field, type, type == platform::fieldtype::Text && size > 0 ? size : 0);
}

void EnsureUnitField(platform::Database& database, const QString& table) {
    if (!FieldExists(database, table, QStringLiteral("Unit")))
        AddField(database, table, QStringLiteral("Unit"), platform::fieldtype::Double, 1);
}

void AddRetValToAppendStrings(platform::Database& database) {
    platform::Table appendStrings = database.openTable(QStringLiteral("tblAppendStr"));
    if (appendStrings.eof())
        return;
    appendStrings.moveFirst();
    while (!appendStrings.eof()) {
        const QVariant value = appendStrings.value(QStringLiteral("String"));
        const QString text = platform::isNull(value) ? QString() : platform::toText(value);
        if (!text.contains(QStringLiteral("<RetVal>"))) {
            appendStrings.edit();
            appendStrings.setValue(QStringLiteral("String"), QStringLiteral("<RetVal>") + text);
            appendStrings.update();
        }
        appendStrings.moveNext();
    }
}

} // namespace db

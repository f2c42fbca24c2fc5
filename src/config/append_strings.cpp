#include "config/append_strings.h"

#include "db/db_path.h"
#include "platform/conversions.h"
#include "platform/database.h"

#include <QComboBox>
#include <QSignalBlocker>

namespace config {

namespace {

QString textOf(const QVariant& value) {
    return platform::isNull(value) ? QString() : platform::toText(value);
}

} // namespace

void UpdateNames(QComboBox& names, const QString& pattern) {
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Table table = db.openTable(QStringLiteral("tblAppendStr"));
    // Filling the list is not a user's choice: no selection handlers run meanwhile.
    const QSignalBlocker quiet(&names);
    names.clear();
    int selected = -1;
    for (; !table.eof(); table.moveNext()) {
        names.addItem(textOf(table.value(QStringLiteral("Name"))));
        if (textOf(table.value(QStringLiteral("String"))) == pattern)
            selected = names.count() - 1;
    }
    names.setCurrentIndex(selected);
}

} // namespace config

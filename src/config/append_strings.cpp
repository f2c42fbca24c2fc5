#include "config/append_strings.h"

#include "core/tokens.h"
#include "db/db_path.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/dialogs.h"
#include "platform/jet_sql.h"

#include <QComboBox>
#include <QSignalBlocker>

namespace config {

namespace {

const QString kRetVal = QStringLiteral("<RetVal>");

QString textOf(const QVariant& value) {
    return platform::isNull(value) ? QString() : platform::toText(value);
}

QString byName(const QString& fields, const QString& name) {
    return QStringLiteral("SELECT %1 From tblAppendStr WHERE (((tblAppendStr.Name)='").arg(fields) +
           platform::SqlQuote(name) + QStringLiteral("'));");
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
        const QString name = textOf(table.value(QStringLiteral("Name")));
        names.addItem(name);
        names.setItemData(names.count() - 1, name, Qt::ToolTipRole); // the list may elide it
        if (textOf(table.value(QStringLiteral("String"))) == pattern)
            selected = names.count() - 1;
    }
    names.setCurrentIndex(selected);
}

QString PlainTextToStored(const QString& text) {
    QString stored = core::ReplaceAll(text, QStringLiteral(">"), QStringLiteral(">>"));
    stored = core::ReplaceAll(stored, QStringLiteral("<"), QStringLiteral("<<"));
    return core::ReplaceAll(stored, QStringLiteral(" "), QStringLiteral("<SP>"));
}

QVector<std::int16_t> TokenBoundaries(const QString& pattern) {
    QVector<std::int16_t> boundaries{0};
    qsizetype at = 0;
    while (at < pattern.size()) {
        const QStringView rest = QStringView(pattern).mid(at);
        qsizetype unit = 1;
        if (rest.startsWith(u"<<") || rest.startsWith(u">>")) {
            unit = 2;
        } else if (rest.startsWith(u'<')) {
            const qsizetype close = rest.indexOf(u'>');
            unit = close < 0 ? rest.size() : close + 1;
        }
        at += unit;
        boundaries << static_cast<std::int16_t>(at);
    }
    boundaries << -1;
    return boundaries;
}

int BoundaryIndexAfter(const QVector<std::int16_t>& boundaries, int caret) {
    for (int i = 0; i < boundaries.size() && boundaries[i] >= 0; ++i) {
        if (boundaries[i] > caret)
            return i;
    }
    return 0;
}

int PreviousBoundary(const QVector<std::int16_t>& boundaries, int caret) {
    int previous = 0;
    for (const std::int16_t boundary : boundaries) {
        if (boundary < 0 || boundary >= caret)
            break;
        previous = boundary;
    }
    return previous;
}

int NextBoundary(const QVector<std::int16_t>& boundaries, int caret) {
    if (caret < 0)
        return 0;
    // The first boundary is 0, never after a caret: index 0 means there is none after it.
    const int index = BoundaryIndexAfter(boundaries, caret);
    return index == 0 ? caret : boundaries[index];
}

QString NormalizeAppendString(const QString& pattern) {
    const QString withValue = pattern.contains(kRetVal) ? pattern : kRetVal + pattern;
    return core::SendKeysToStored(core::StoredToSendKeys(withValue));
}

QString SaveAppendString(const QString& name, const QString& pattern) {
    const QString normalized = NormalizeAppendString(pattern);
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Recordset row = db.openRecordset(byName(QStringLiteral("tblAppendStr.*"), name));
    if (row.eof()) {
        row.addNew();
        row.setValue(QStringLiteral("Name"), name);
        row.setValue(QStringLiteral("String"), normalized);
        row.update();
    } else if (platform::msgBox(name + QStringLiteral(" Already Exists Do You Want to Replace It?"),
                                platform::Buttons::YesNo,
                                platform::Icon::Question) == platform::Answer::Yes) {
        row.edit();
        row.setValue(QStringLiteral("String"), normalized);
        row.update();
    }
    return normalized;
}

void RemoveAppendString(const QString& name) {
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Recordset row = db.openRecordset(byName(QStringLiteral("tblAppendStr.String"), name));
    if (!row.eof())
        row.deleteCurrent();
}

std::optional<core::AppendString> FindAppendString(const QString& name) {
    platform::Database db = platform::Database::open(db::GetDbPath());
    platform::Recordset row = db.openRecordset(byName(QStringLiteral("tblAppendStr.*"), name));
    if (row.eof())
        return std::nullopt;
    return core::AppendString{textOf(row.value(QStringLiteral("Name"))),
                              textOf(row.value(QStringLiteral("String")))};
}

} // namespace config

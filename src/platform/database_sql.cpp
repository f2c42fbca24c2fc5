#include "platform/database_engines.h"
#include "platform/jet_sql.h"

#include <QRegularExpression>

namespace platform::detail {

QString quoted(const QString& identifier) {
    QString escaped = identifier;
    escaped.replace(u'"', QStringLiteral("\"\""));
    return u'"' + escaped + u'"';
}

QString quotedName(Engine engine, const QString& identifier) {
    return quoted(engine == Engine::Postgres ? identifier.toLower() : identifier);
}

QString rowIdOf(Engine engine) {
    return engine == Engine::Postgres ? kServerRowId : QStringLiteral("rowid");
}

QString translate(Engine engine, const QString& jetSql) {
    return engine == Engine::Postgres ? jetToPostgres(jetSql) : jetToSqlite(jetSql);
}

QString insertStatement(Engine engine, const QString& table, const QStringList& columns,
                        const QString& key, const QString& rows) {
    QStringList names;
    QStringList updates;
    for (const QString& column : columns) {
        names << quotedName(engine, column);
        updates << quotedName(engine, column) + QStringLiteral(" = excluded.") +
                       quotedName(engine, column);
    }
    QString sql = QStringLiteral("INSERT INTO %1 (%2) VALUES %3")
                      .arg(quotedName(engine, table), names.join(u", "), rows);
    if (!key.isEmpty())
        sql += QStringLiteral(" ON CONFLICT (%1) DO UPDATE SET %2")
                   .arg(quotedName(engine, key), updates.join(u", "));
    return sql;
}

QString valueMarks(int first, int count) {
    QStringList marks;
    for (int i = 0; i < count; ++i)
        marks << QStringLiteral("?%1").arg(first + i);
    return u'(' + marks.join(u", ") + u')';
}

QString updatableBaseTable(const QString& sql, QString* selectList, qsizetype* listStart) {
    static const QRegularExpression pattern(
        QStringLiteral(
            R"(^\s*SELECT\s+(.+?)\s+FROM\s+("[^"]+"|\w+)\s*(?:(?:WHERE|ORDER\s+BY)\b.*)?;?\s*$)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression plainList(QStringLiteral(R"(^[\w\s.,"*]+$)"));
    const QRegularExpressionMatch match = pattern.match(sql);
    if (!match.hasMatch())
        return {};
    const QString list = match.captured(1);
    if (!plainList.match(list).hasMatch() ||
        list.trimmed().startsWith(u"DISTINCT", Qt::CaseInsensitive))
        return {};
    *selectList = list;
    *listStart = match.capturedStart(1);
    QString table = match.captured(2);
    if (table.startsWith(u'"'))
        table = table.mid(1, table.size() - 2);
    return table;
}

bool isTableName(const QString& text) {
    static const QRegularExpression name(QStringLiteral(R"(^\w+$)"));
    return name.match(text.trimmed()).hasMatch();
}

} // namespace platform::detail

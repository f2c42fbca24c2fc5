#pragma once
// Helpers of the import tests: files written byte for byte, and what a query gives.
#include "platform/database.h"

#include <QFile>
#include <QStringList>

#include <ostream>
#include <stdexcept>

inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace importtest {

inline QString writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
    return path;
}

// The rows of a query, each as its fields joined by '|'.
inline QStringList rows(const QString& databaseFile, const QString& sql) {
    platform::Database db = platform::Database::open(databaseFile);
    QStringList result;
    for (platform::Recordset rs = db.openRecordset(sql); !rs.eof(); rs.moveNext()) {
        QStringList fields;
        for (int i = 0; i < rs.fieldCount(); ++i)
            fields << rs.value(i).toString();
        result << fields.join(u'|');
    }
    return result;
}

} // namespace importtest

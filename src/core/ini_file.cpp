#include "core/ini_file.h"

#include "core/program_folder.h"
#include "platform/conversions.h"

#include <QFile>
#include <QRegularExpression>

namespace core {

QString GetIniValue(const QString& key) {
    QFile file(programFile(QStringLiteral("transltr.ini")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // Lines end at CR LF, LF or CR alike, as the file may have been written on any system.
    static const QRegularExpression lineEnd(QStringLiteral("\r\n|\n|\r"));
    const QStringList lines = QString::fromUtf8(file.readAll()).split(lineEnd);
    for (const QString& line : lines) {
        if (!line.startsWith(key))
            continue;
        // A matching line without "=" gives the whole line, as its first "=" is at position 0.
        return line.mid(line.indexOf(u'=') + 1);
    }
    return {};
}

std::int16_t GetIniNumber(const QString& key) {
    return platform::toInt16(platform::val(GetIniValue(key)));
}

} // namespace core

// Fuzz target for the import field cutter: whatever the line, field number and delimiter, it
// gives a field without blanks at its ends, taken from the line; and on a line without quotes
// or apostrophes field n is exactly the n-th piece between delimiters, trimmed.
#include "import/import_field.h"

#include <QByteArray>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

// Blanks only: a Tab is a delimiter, not a blank.
QString trimBlanks(const QString& text) {
    static const QRegularExpression ends(QStringLiteral("\\A +| +\\z"));
    return QString(text).remove(ends);
}

} // namespace

// The first byte chooses the field number, the second the delimiter (Tab or comma), the rest is
// the line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::int16_t number = std::int16_t(data[0] % 12);
    const int delimiter = data[1] % 2 ? 9 : ',';
    const QString original =
        QString::fromUtf8(reinterpret_cast<const char*>(data + 2), qsizetype(size - 2));
    QString line = original;
    const QString field = import::GetImportField(line, number, delimiter);
    if (line != trimBlanks(original) || field != trimBlanks(field))
        std::abort();
    if (!field.isEmpty() && !line.contains(field))
        std::abort();
    if (number > 0 && !original.contains(u'"') && !original.contains(u'\'')) {
        const QStringList pieces = line.split(QChar(delimiter));
        const QString expected =
            line.isEmpty() || number > pieces.size() ? QString() : trimBlanks(pieces[number - 1]);
        if (field != expected)
            std::abort();
    }
    return 0;
}

const std::vector<QByteArray>& FuzzPieces() {
    static const std::vector<QByteArray> pieces{
        "\x01\x01", "\x03\x00", "\x00\x01", "INVITEM", "\t",   ",",    "\"",  "'",
        " ",        "a",        "Bolt",     "\"\t",    "\t\"", "'\t'", "é",   "\xff",
        "  ",       "12345",    "\"a\tb\"", "\t\t",    ",,",   "\r",   "x\"y"};
    return pieces;
}

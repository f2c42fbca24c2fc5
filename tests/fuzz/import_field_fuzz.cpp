// Fuzz target for the import field cutter: whatever the line, field number and delimiter, the
// line comes back trimmed; on a line without quotes field n is exactly the n-th piece between
// delimiters, trimmed; and the fields of any line, quoted as the export quotes them, cut back to
// the same fields.
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

// The fields of a line, cut as the import cuts them.
QStringList fieldsOf(const QString& line, QChar delimiter) {
    import::LineFields fields;
    fields.cut(line, delimiter);
    QStringList all;
    for (qsizetype i = 0; i < fields.size(); ++i)
        all << fields.field(i);
    return all;
}

} // namespace

// The first byte chooses the field number, the second the delimiter (Tab or comma), the rest is
// the line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::int16_t number = std::int16_t(data[0] % 12);
    const QChar delimiter(data[1] % 2 ? 9 : ',');
    const QString original =
        QString::fromUtf8(reinterpret_cast<const char*>(data + 2), qsizetype(size - 2));
    QString line = original;
    const QString field = import::GetImportField(line, number, delimiter.unicode());
    if (line != trimBlanks(original))
        std::abort();
    // Without quotes, field n is exactly the n-th piece between delimiters, trimmed.
    if (number > 0 && !original.contains(u'"')) {
        const QStringList pieces = line.split(delimiter);
        const QString expected =
            line.isEmpty() || number > pieces.size() ? QString() : trimBlanks(pieces[number - 1]);
        if (field != expected)
            std::abort();
    }
    // Whatever the line, its fields written as the export writes them cut back to themselves.
    const QStringList fields = fieldsOf(line, delimiter);
    const bool oneEmpty = fields.size() == 1 && fields.front().isEmpty();
    if (!line.contains(u'\r') && !line.contains(u'\n') && !oneEmpty) {
        QStringList written;
        for (const QString& value : fields)
            written << import::QuoteField(value, delimiter);
        if (fieldsOf(written.join(delimiter), delimiter) != fields)
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

#pragma once

#include <QString>
#include <QVarLengthArray>

#include <cstdint>

namespace import {

// The text without the blanks at its ends. Only blanks: in an item file a Tab is a delimiter,
// not a blank.
QStringView trimBlanks(QStringView text);

// The fields of an item line, cut as spreadsheet programs and QuickBooks write them. A field
// whose first character (after blanks) is a double quote is quoted: it runs to the quote that is
// followed by the delimiter or the line end (blanks aside), "" inside it is one quote, and
// delimiters inside it are text; any other quote inside it stays as it is, so an inch mark typed
// into a quoted field is kept. A field that does not start with a quote is taken as it stands,
// quotes and apostrophes included, trimmed of blanks. A quoted field keeps its blanks.
//
// A quoted field that the line ends in is open: its value may go on in the next line, as a
// spreadsheet writes a value with a line break. When that cannot be (openQuotesAreText), or
// when a quote in it is neither doubled nor closing (a quoted value never has one), its quotes
// are text instead and the field runs to the next delimiter.
class LineFields {
public:
    // Cuts line, which must stay alive and unchanged while the fields are read.
    void cut(QStringView line, QChar delimiter, bool openQuotesAreText = true);

    qsizetype size() const { return spans_.size(); }
    // Field index, counted from 0; the empty text past the last field.
    QString field(qsizetype index) const;
    // The same, written into value, whose room is reused when it is not shared (a reader that
    // keeps its values from line to line allocates nothing).
    void readField(qsizetype index, QString& value) const;
    // Whether the line ends inside a quoted field: a value with a line break in it, whose rest is
    // on the next line.
    bool open() const { return open_; }

private:
    struct Span {
        qsizetype start = 0;
        qsizetype length = 0;
        bool quoted = false;
    };
    QStringView line_;
    QVarLengthArray<Span, 32> spans_;
    bool open_ = false;
};

// Field fieldNumber (counted from 1) of an item line whose fields are separated by the character
// with code delimiterCode, cut as LineFields cuts. The line comes back trimmed of blanks. Field 0,
// and a field past the last, is the empty text.
QString GetImportField(QString& line, std::int16_t fieldNumber, int delimiterCode);

// A value as a delimited list holds it, so that cutting gives it back: quoted (with its quotes
// doubled) when it holds the delimiter or a quote or has blanks at its ends, else as it is. A
// line break has no place in a line and is written as a blank.
QString QuoteField(QStringView value, QChar delimiter);

} // namespace import

#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// Reading the item files that accounting programs write: accounting programs on Windows write
// Windows-1252, others UTF-8 (with or without a byte-order mark); spreadsheets saved as "Unicode
// text" write UTF-16 with a byte-order mark; lines end in CR LF or LF.
namespace import {

// Whether bytes are valid UTF-8, read piece by piece: a character may be split between pieces.
class Utf8Check {
public:
    void feed(QByteArrayView bytes);
    // Valid so far, and no character left unfinished.
    bool valid() const { return valid_ && pending_ == 0; }
    // Valid so far; the last character may still be unfinished.
    bool validSoFar() const { return valid_; }

private:
    bool valid_ = true;
    int pending_ = 0;        // continuation bytes still to come
    unsigned char lead_ = 0; // the lead byte of the character being read, for its second byte
};

// Windows-1252 text: Latin-1, except 0x80-0x9F, which hold the euro sign, typographic quotes,
// dashes and a few letters.
QString fromWindows1252(QByteArrayView bytes);

// The lines of a text file, read one at a time, without their CR LF or LF. A file with a UTF-16
// byte-order mark is UTF-16; otherwise the whole file is UTF-8 when it is valid UTF-8, else
// Windows-1252 (a UTF-8 byte-order mark is skipped either way). Lines end in LF or CR LF; in a
// file whose lines end in CR alone (as Mac programs write them, a CR alone outnumbering the line
// feeds) they end in CR or CR LF, and a line feed on its own is text. An end-of-file mark (^Z)
// that old DOS programs put last is not read. Deciding all that reads the file once before the
// first line, in pieces, so memory stays flat, and counts its lines and tells on the way whether
// it is text at all. A file that cannot be opened or read throws AppError naming it.
class TextLines {
public:
    enum class Encoding { Utf8, Windows1252, Utf16LE, Utf16BE };
    // How much of the file the first pass reads: all of it, or only its head (for a look at the
    // headings of a file, where the encoding of the head is enough and the line count is not
    // needed).
    enum class FirstPass { Whole, Head };

    explicit TextLines(const QString& path, FirstPass pass = FirstPass::Whole);

    // The next line; false at the end of the file.
    bool next(QString& line);
    // Back to the first line.
    void rewind();
    // How far the reading has come, in bytes, and the file's size.
    qint64 position() const { return file_.pos() - (buffer_.size() - taken_); }
    qint64 size() const { return file_.size(); }
    Encoding encoding() const { return encoding_; }
    qint64 linesRead() const { return linesRead_; }
    qint64 lineCount() const { return lineCount_; }
    // No characters at all (a byte-order mark alone counts as none).
    bool empty() const { return empty_; }
    // Not text: it holds NUL bytes, or its first piece holds many control characters, as
    // programs, archives and spreadsheet workbooks do.
    bool binary() const { return binary_; }

private:
    void firstPass(FirstPass pass);
    bool nextLineBytes(QByteArrayView& bytes);
    qsizetype lineEnd(qsizetype from) const;
    qsizetype findUnit(char unit, qsizetype from) const;
    bool isUnit(qsizetype at, char unit) const;
    void decode(QByteArrayView bytes, QString& line) const;

    QFile file_;
    // The bytes read ahead of the lines taken (taken_ of them are taken), so that lines are cut
    // from large pieces rather than read one by one.
    QByteArray buffer_;
    qsizetype taken_ = 0;
    Encoding encoding_ = Encoding::Utf8;
    // What ends a line: a line feed, or a CR (a line feed after it joins it).
    char lineBreak_ = '\n';
    qint64 linesRead_ = 0;
    qint64 lineCount_ = 0;
    bool empty_ = true;
    bool binary_ = false;
};

} // namespace import

#include "import/text_lines.h"

#include "platform/app_error.h"

#include <QDir>

#include <array>

namespace import {

namespace {

constexpr qint64 kPiece = 1 << 16;

// Windows-1252's characters at 0x80-0x9F; the five unassigned codes keep their Latin-1 value.
constexpr std::array<char16_t, 32> kHighControls{
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

[[noreturn]] void readFailure(const QFile& file) {
    throw platform::AppError(
        platform::err::FileNotFound,
        QStringLiteral("Cannot read the item file '%1': %2")
            .arg(QDir::toNativeSeparators(file.fileName()), file.errorString()));
}

} // namespace

void Utf8Check::feed(QByteArrayView bytes) {
    for (const char c : bytes) {
        if (!valid_)
            return; // the answer is known
        const auto byte = static_cast<unsigned char>(c);
        if (pending_ > 0) {
            // The second byte of a lead E0, ED, F0 or F4 has a narrower range (no overlong
            // forms, no surrogates, nothing above U+10FFFF).
            unsigned char low = 0x80;
            unsigned char high = 0xBF;
            if (lead_ == 0xE0)
                low = 0xA0;
            else if (lead_ == 0xED)
                high = 0x9F;
            else if (lead_ == 0xF0)
                low = 0x90;
            else if (lead_ == 0xF4)
                high = 0x8F;
            valid_ = byte >= low && byte <= high;
            lead_ = 0;
            --pending_;
            continue;
        }
        if (byte < 0x80)
            continue;
        lead_ = byte;
        if (byte >= 0xC2 && byte <= 0xDF)
            pending_ = 1;
        else if (byte >= 0xE0 && byte <= 0xEF)
            pending_ = 2;
        else if (byte >= 0xF0 && byte <= 0xF4)
            pending_ = 3;
        else
            valid_ = false;
    }
}

QString fromWindows1252(QByteArrayView bytes) {
    QString text(bytes.size(), Qt::Uninitialized);
    char16_t* out = reinterpret_cast<char16_t*>(text.data());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        *out++ = byte >= 0x80 && byte <= 0x9F ? kHighControls[byte - 0x80] : char16_t(byte);
    }
    return text;
}

TextLines::TextLines(const QString& path)
    : file_(path) {
    if (!file_.open(QIODevice::ReadOnly))
        readFailure(file_);
    // One pass over the bytes decides the encoding and counts the lines.
    Utf8Check check;
    char last = '\n';
    while (!file_.atEnd()) {
        const QByteArray piece = file_.read(kPiece);
        if (piece.isEmpty())
            readFailure(file_);
        check.feed(piece);
        lineCount_ += piece.count('\n');
        last = piece.back();
    }
    if (last != '\n')
        ++lineCount_; // a last line without its line end
    utf8_ = check.valid();
    rewind();
}

void TextLines::rewind() {
    if (!file_.seek(0))
        readFailure(file_);
    linesRead_ = 0;
    if (utf8_ && file_.peek(3) == QByteArrayLiteral("\xEF\xBB\xBF"))
        file_.read(3);
}

bool TextLines::next(QString& line) {
    if (file_.atEnd())
        return false;
    QByteArray bytes = file_.readLine();
    if (bytes.isEmpty() && file_.error() != QFileDevice::NoError)
        readFailure(file_);
    if (bytes.endsWith('\n'))
        bytes.chop(1);
    if (bytes.endsWith('\r'))
        bytes.chop(1);
    line = utf8_ ? QString::fromUtf8(bytes) : fromWindows1252(bytes);
    ++linesRead_;
    return true;
}

} // namespace import

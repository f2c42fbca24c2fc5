#include "import/text_lines.h"

#include "platform/app_error.h"

#include <QDir>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>

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

// The byte-order marks that say how a file is written.
const QByteArray kUtf8Mark = QByteArrayLiteral("\xEF\xBB\xBF");
const QByteArray kUtf16LEMark = QByteArrayLiteral("\xFF\xFE");
const QByteArray kUtf16BEMark = QByteArrayLiteral("\xFE\xFF");

bool utf16(TextLines::Encoding encoding) {
    return encoding == TextLines::Encoding::Utf16LE || encoding == TextLines::Encoding::Utf16BE;
}

// A control character that has no place in a text file: Tab, line ends, form feed and the
// end-of-file mark of old DOS files do.
bool strayControl(unsigned char byte) {
    return (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r' && byte != '\f' &&
            byte != 0x1A) ||
           byte == 0x7F;
}

// More than one character in twenty out of place makes a file binary.
constexpr qint64 kControlsPerBinary = 20;

// Whether the eight bytes at bytes are all ASCII.
bool isAscii(const char* bytes) {
    quint64 word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return (word & 0x8080808080808080ULL) == 0;
}

bool asciiOnly(QByteArrayView bytes) {
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    for (; end - at >= 8; at += 8) {
        if (!isAscii(at))
            return false;
    }
    return std::all_of(at, end, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// The last character of old DOS files.
constexpr char kEndOfFileMark = 0x1A;

// The character of the unit at at when it is ASCII (a UTF-16 unit is two bytes); anything else
// in UTF-16 gives 0.
char unitAt(QByteArrayView bytes, qsizetype at, TextLines::Encoding encoding) {
    switch (encoding) {
    case TextLines::Encoding::Utf16LE:
        return bytes[at + 1] == 0 ? bytes[at] : 0;
    case TextLines::Encoding::Utf16BE:
        return bytes[at] == 0 ? bytes[at + 1] : 0;
    default:
        return bytes[at];
    }
}

// The line ends of a file, counted piece by piece (a CR LF pair may be split between two pieces),
// and how the file ends, to tell whether its lines end in CR alone and whether the last line has
// its end.
class LineEnds {
public:
    explicit LineEnds(TextLines::Encoding encoding)
        : encoding_(encoding)
        , width_(utf16(encoding) ? 2 : 1) {}

    void count(QByteArrayView piece) {
        if (width_ == 1) {
            feeds_ += piece.count('\n');
            countReturns(piece);
        } else {
            char previous = lastUnit(tail_);
            for (qsizetype at = 0; at + 1 < piece.size(); at += 2) {
                const char unit = unitAt(piece, at, encoding_);
                feeds_ += unit == '\n';
                returns_ += unit == '\r';
                pairs_ += unit == '\n' && previous == '\r';
                previous = unit;
            }
        }
        tail_.append(piece.last(std::min<qsizetype>(piece.size(), 4)));
        tail_ = tail_.right(4);
    }
    // Whether lines end in CR alone: such CRs outnumber the line feeds (which in such a file
    // are breaks within quoted values).
    bool crLines() const { return returns_ - pairs_ > feeds_; }
    qint64 lines() const { return crLines() ? returns_ : feeds_; }
    // Whether the last line has its line end; an end-of-file mark after it is no line.
    bool lastLineEnded() const {
        QByteArrayView end = tail_;
        if (width_ == 1 && end.endsWith(kEndOfFileMark))
            end.chop(1);
        const char last = lastUnit(end);
        if (!crLines())
            return last == '\n';
        return last == '\r' || (last == '\n' && lastUnit(end.chopped(width_)) == '\r');
    }
    bool endsWithMark() const { return width_ == 1 && tail_.endsWith(kEndOfFileMark); }

private:
    // The CRs of a byte piece and those followed by a line feed, jumping from CR to CR: a
    // search for the pair itself costs a thousand instructions per line of a CR LF file.
    void countReturns(QByteArrayView piece) {
        pairs_ += lastUnit(tail_) == '\r' && piece.startsWith('\n');
        const char* at = piece.data();
        const char* const end = at + piece.size();
        while ((at = static_cast<const char*>(std::memchr(at, '\r', std::size_t(end - at))))) {
            ++returns_;
            if (++at == end)
                break;
            pairs_ += *at == '\n';
        }
    }

    char lastUnit(QByteArrayView bytes) const {
        return bytes.size() >= width_ ? unitAt(bytes, bytes.size() - width_, encoding_) : 0;
    }

    TextLines::Encoding encoding_;
    qsizetype width_;
    qint64 feeds_ = 0;
    qint64 returns_ = 0;
    qint64 pairs_ = 0;
    QByteArray tail_; // the last four bytes read
};

qint64 strayControls(QByteArrayView bytes) {
    return std::count_if(bytes.begin(), bytes.end(),
                         [](char c) { return strayControl(static_cast<unsigned char>(c)); });
}

} // namespace

void Utf8Check::feed(QByteArrayView bytes) {
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    while (at < end) {
        if (!valid_)
            return; // the answer is known
        // Eight bytes of ASCII at a time, as long as no character is unfinished.
        while (pending_ == 0 && end - at >= 8 && isAscii(at))
            at += 8;
        if (at == end)
            return;
        const auto byte = static_cast<unsigned char>(*at++);
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

TextLines::TextLines(const QString& path, FirstPass pass)
    : file_(path) {
    if (!file_.open(QIODevice::ReadOnly))
        readFailure(file_);
    firstPass(pass);
    rewind();
}

// One pass over the bytes decides the encoding, counts the lines and tells text from binary: a
// NUL byte anywhere, or many control characters in the first piece (where a program or an archive
// shows what it is).
void TextLines::firstPass(FirstPass pass) {
    const QByteArray start = file_.peek(3);
    if (start.startsWith(kUtf16LEMark))
        encoding_ = Encoding::Utf16LE;
    else if (start.startsWith(kUtf16BEMark))
        encoding_ = Encoding::Utf16BE;
    const qint64 markSize = utf16(encoding_) ? 2 : start == kUtf8Mark ? 3 : 0;
    empty_ = file_.size() <= markSize;
    LineEnds ends(encoding_);
    Utf8Check check;
    qint64 offset = 0;
    while (!file_.atEnd()) {
        const QByteArray piece = file_.read(kPiece); // an even size: UTF-16 units stay whole
        if (piece.isEmpty())
            readFailure(file_);
        ends.count(piece);
        if (!utf16(encoding_)) {
            check.feed(piece);
            binary_ = binary_ || piece.contains('\0') ||
                      (offset == 0 && strayControls(piece) * kControlsPerBinary > piece.size());
        }
        offset += piece.size();
        if (pass == FirstPass::Head)
            break;
    }
    lineBreak_ = ends.crLines() ? '\r' : '\n';
    lineCount_ = ends.lines();
    if (!ends.lastLineEnded() && offset > markSize + ends.endsWithMark())
        ++lineCount_; // a last line without its line end
    if (!utf16(encoding_)) {
        // A head may end in the middle of a character.
        const bool utf8 = pass == FirstPass::Head ? check.validSoFar() : check.valid();
        encoding_ = utf8 ? Encoding::Utf8 : Encoding::Windows1252;
    }
}

void TextLines::rewind() {
    if (!file_.seek(0))
        readFailure(file_);
    linesRead_ = 0;
    buffer_.clear();
    taken_ = 0;
    const QByteArray start = file_.peek(3);
    if (utf16(encoding_))
        file_.read(2);
    else if (start == kUtf8Mark)
        file_.read(3); // also in a file that is not all UTF-8: the mark is never text
}

// Where the line that starts at from ends (after its line end) in the buffer; -1 when the buffer
// does not hold its end yet. In UTF-16 the line-end byte may also be half of another character:
// only a whole unit ends a line.
qsizetype TextLines::lineEnd(qsizetype from) const {
    const qsizetype width = utf16(encoding_) ? 2 : 1;
    const qsizetype at = findUnit(lineBreak_, from);
    if (at < 0)
        return -1;
    const qsizetype end = at + width;
    if (lineBreak_ != '\r')
        return end;
    if (end + width <= buffer_.size())
        return isUnit(end, '\n') ? end + width : end;
    return file_.atEnd() ? end : -1; // whether a line feed follows the CR is still to be read
}

qsizetype TextLines::findUnit(char unit, qsizetype from) const {
    if (!utf16(encoding_))
        return buffer_.indexOf(unit, from);
    for (qsizetype at = from; at + 1 < buffer_.size(); at += 2) {
        if (isUnit(at, unit))
            return at;
    }
    return -1;
}

bool TextLines::isUnit(qsizetype at, char unit) const {
    return unitAt(buffer_, at, encoding_) == unit;
}

// The bytes of the next line, with its line end; they stay valid until the next call.
bool TextLines::nextLineBytes(QByteArrayView& bytes) {
    for (;;) {
        const qsizetype end = lineEnd(taken_);
        if (end >= 0) {
            bytes = QByteArrayView(buffer_).sliced(taken_, end - taken_);
            taken_ = end;
            return true;
        }
        if (file_.atEnd()) {
            bytes = QByteArrayView(buffer_).sliced(taken_); // a last line without its line end
            taken_ = buffer_.size();
            if (!utf16(encoding_) && bytes.endsWith(kEndOfFileMark))
                bytes.chop(1);
            return !bytes.isEmpty();
        }
        buffer_.remove(0, taken_); // whole lines and whole units are gone
        taken_ = 0;
        const QByteArray piece = file_.read(kPiece);
        if (piece.isEmpty())
            readFailure(file_);
        buffer_ += piece;
    }
}

// The text of a line's bytes, written into line (whose room is reused from line to line).
void TextLines::decode(QByteArrayView bytes, QString& line) const {
    if (!utf16(encoding_) && asciiOnly(bytes)) {
        // ASCII, most lines of most files, reads the same in UTF-8 and Windows-1252.
        line.resize(bytes.size());
        std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char16_t*>(line.data()));
        return;
    }
    switch (encoding_) {
    case Encoding::Utf8: {
        line.resize(bytes.size()); // UTF-8 never needs more units than bytes
        QStringDecoder decoder(QStringDecoder::Utf8);
        const QChar* end = decoder.appendToBuffer(line.data(), bytes);
        line.truncate(end - line.constData());
        break;
    }
    case Encoding::Windows1252:
        line = fromWindows1252(bytes);
        break;
    case Encoding::Utf16LE:
    case Encoding::Utf16BE:
        line = QStringDecoder(encoding_ == Encoding::Utf16LE ? QStringDecoder::Utf16LE
                                                             : QStringDecoder::Utf16BE)
                   .decode(bytes);
        break;
    }
}

bool TextLines::next(QString& line) {
    QByteArrayView bytes;
    if (!nextLineBytes(bytes))
        return false;
    decode(bytes, line);
    if (line.endsWith(u'\n'))
        line.chop(1);
    if (line.endsWith(u'\r'))
        line.chop(1);
    ++linesRead_;
    return true;
}

} // namespace import

#include "platform/jet_sql.h"

#include <QHash>

namespace platform {

namespace {

bool isIdentifierStart(QChar c) {
    return c.isLetter() || c == u'_';
}

bool isIdentifierPart(QChar c) {
    return c.isLetterOrNumber() || c == u'_' || c == u'$';
}

// Field names the program's tables use that SQLite treats as keywords.
bool isReservedFieldName(const QString& word) {
    return word.compare(u"Index", Qt::CaseInsensitive) == 0 ||
           word.compare(u"default", Qt::CaseInsensitive) == 0;
}

const QHash<QString, QString>& functionNames() {
    static const QHash<QString, QString> names{{QStringLiteral("chr"), QStringLiteral("char")},
                                               {QStringLiteral("ucase"), QStringLiteral("upper")},
                                               {QStringLiteral("lcase"), QStringLiteral("lower")},
                                               {QStringLiteral("len"), QStringLiteral("length")},
                                               {QStringLiteral("mid"), QStringLiteral("substr")}};
    return names;
}

class Translator {
public:
    explicit Translator(const QString& source)
        : in_(source) {
        out_.reserve(source.size() + 16);
    }

    QString run() {
        while (pos_ < in_.size()) {
            const QChar c = in_[pos_];
            if (c == u'\'' || c == u'"')
                copyTextLiteral(c);
            else if (c == u'[')
                copyBracketedName();
            else if (c == u'&')
                concatenation();
            else if (isIdentifierStart(c))
                word();
            else
                out_.append(in_[pos_++]);
        }
        return out_;
    }

private:
    // A literal in either quote becomes an SQLite text literal in single quotes.
    void copyTextLiteral(QChar quote) {
        ++pos_;
        QString text;
        while (pos_ < in_.size()) {
            if (in_[pos_] == quote) {
                if (pos_ + 1 < in_.size() && in_[pos_ + 1] == quote) {
                    text.append(quote);
                    pos_ += 2;
                    continue;
                }
                ++pos_;
                break;
            }
            text.append(in_[pos_++]);
        }
        text.replace(u'\'', QStringLiteral("''"));
        out_.append(u'\'').append(text).append(u'\'');
    }

    void copyBracketedName() {
        const qsizetype end = in_.indexOf(u']', pos_ + 1);
        const qsizetype stop = end < 0 ? in_.size() : end;
        QString name = in_.mid(pos_ + 1, stop - pos_ - 1);
        name.replace(u'"', QStringLiteral("\"\""));
        out_.append(u'"').append(name).append(u'"');
        pos_ = end < 0 ? in_.size() : end + 1;
    }

    void concatenation() {
        out_.append(QStringLiteral("||"));
        ++pos_;
    }

    qsizetype skipBlanks(qsizetype from) const {
        while (from < in_.size() && in_[from].isSpace())
            ++from;
        return from;
    }

    void word() {
        const qsizetype start = pos_;
        while (pos_ < in_.size() && isIdentifierPart(in_[pos_]))
            ++pos_;
        const QString word = in_.mid(start, pos_ - start);
        const qsizetype next = skipBlanks(pos_);
        const bool isCall = next < in_.size() && in_[next] == u'(';

        if (word.compare(u"DELETE", Qt::CaseInsensitive) == 0 && next < in_.size() &&
            in_[next] == u'*') {
            out_.append(word);
            pos_ = next + 1; // "DELETE * FROM" -> "DELETE FROM": the blank after * stays
            return;
        }
        if (isCall) {
            const auto mapped = functionNames().constFind(word.toLower());
            out_.append(mapped != functionNames().cend() ? *mapped : word);
            return;
        }
        if (isReservedFieldName(word)) {
            out_.append(u'"').append(word).append(u'"');
            return;
        }
        out_.append(word);
    }

    const QString& in_;
    QString out_;
    qsizetype pos_ = 0;
};

} // namespace

QString jetToSqlite(const QString& jetSql) {
    return Translator(jetSql).run();
}

} // namespace platform

#include "platform/jet_sql.h"

#include <QHash>
#include <QRegularExpression>

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

// Jet's functions under the names the target engine knows them by.
const QHash<QString, QString>& functionNames(bool postgres) {
    static const QHash<QString, QString> sqlite{{QStringLiteral("chr"), QStringLiteral("char")},
                                                {QStringLiteral("ucase"), QStringLiteral("upper")},
                                                {QStringLiteral("lcase"), QStringLiteral("lower")},
                                                {QStringLiteral("len"), QStringLiteral("length")},
                                                {QStringLiteral("mid"), QStringLiteral("substr")}};
    static const QHash<QString, QString> server{{QStringLiteral("ucase"), QStringLiteral("upper")},
                                                {QStringLiteral("lcase"), QStringLiteral("lower")},
                                                {QStringLiteral("len"), QStringLiteral("length")},
                                                {QStringLiteral("mid"), QStringLiteral("substr")}};
    return postgres ? server : sqlite;
}

class Translator {
public:
    Translator(const QString& source, bool postgres)
        : in_(source)
        , postgres_(postgres) {
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
        // On the server a text spliced together with "&" is text, not the table's case-blind
        // text, and would compare with letter case: a vertical bar spliced in by the quoting
        // rule (' & chr(124) & ') is kept inside the literal instead.
        while (postgres_ && splicedBarFollows()) {
            text.append(u'|');
            appendLiteralText(text);
        }
        text.replace(u'\'', QStringLiteral("''"));
        out_.append(u'\'').append(text).append(u'\'');
    }

    // Whether the text at pos_ is `& chr(124) & '` (blanks around the parts allowed); if so,
    // pos_ moves past it, onto the next literal's first character.
    bool splicedBarFollows() {
        static const QRegularExpression splice(
            QStringLiteral("\\s*&\\s*chr\\s*\\(\\s*124\\s*\\)\\s*&\\s*'"),
            QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch match =
            splice.match(in_, pos_, QRegularExpression::NormalMatch,
                         QRegularExpression::AnchorAtOffsetMatchOption);
        if (!match.hasMatch())
            return false;
        pos_ += match.capturedLength();
        return true;
    }

    // Reads a literal's text up to its closing quote (a doubled quote is one quote).
    void appendLiteralText(QString& text) {
        while (pos_ < in_.size()) {
            if (in_[pos_] == u'\'') {
                if (pos_ + 1 < in_.size() && in_[pos_ + 1] == u'\'') {
                    text.append(u'\'');
                    pos_ += 2;
                    continue;
                }
                ++pos_;
                return;
            }
            text.append(in_[pos_++]);
        }
    }

    // The server keeps the program's names in lower case (they were created unquoted).
    void copyBracketedName() {
        const qsizetype end = in_.indexOf(u']', pos_ + 1);
        const qsizetype stop = end < 0 ? in_.size() : end;
        QString name = in_.mid(pos_ + 1, stop - pos_ - 1);
        if (postgres_)
            name = name.toLower();
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
            const auto& names = functionNames(postgres_);
            const auto mapped = names.constFind(word.toLower());
            out_.append(mapped != names.cend() ? *mapped : word);
            return;
        }
        if (isReservedFieldName(word)) {
            out_.append(u'"').append(postgres_ ? word.toLower() : word).append(u'"');
            return;
        }
        out_.append(word);
    }

    const QString& in_;
    bool postgres_;
    QString out_;
    qsizetype pos_ = 0;
};

} // namespace

QString jetToSqlite(const QString& jetSql) {
    return Translator(jetSql, false).run();
}

QString jetToPostgres(const QString& jetSql) {
    return Translator(jetSql, true).run();
}

QString SqlQuote(const QString& value) {
    QString quoted = value;
    quoted.replace(QStringLiteral("'"), QStringLiteral("''"));
    quoted.replace(QStringLiteral("|"), QStringLiteral("' & chr(124) & '"));
    return quoted;
}

} // namespace platform

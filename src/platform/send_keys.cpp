// The send-key parser and its inverse. The parser reads the whole text before anything is typed,
// so that malformed text is refused without half of it reaching the focused window.
//
// Characters with no key of their own in the text are read as follows:
//   CR LF, a lone CR and a lone LF   one Enter (scanners end lines either way)
//   TAB                              the Tab key
//   BS, ESC, DEL                     Backspace, Escape, Delete
//   any other control character     Ctrl with its letter or sign (0x01 is Ctrl+a, 0x1D is Ctrl+]),
//                                    the way keyboard-wedge scanners send them
#include "platform/send_keys.h"

#include "platform/app_error.h"

#include <QList>
#include <QStringView>

#include <array>
#include <optional>

namespace platform {

namespace {

constexpr int kInvalidProcedureCall = 5;
// A brace may repeat its key this often; the whole text may make this many keys. Both keep
// a mistyped count from building a list that would take hours to type.
constexpr int kMaxRepeat = 9999;
constexpr std::size_t kMaxKeys = 100000;
// Error texts quote the keys when they are short enough to read in a message box.
constexpr qsizetype kMaxQuotedLength = 80;

struct KeyName {
    QStringView name;
    NamedKey key;
};

// The first name of each key is the one DescribeKeys writes.
constexpr std::array<KeyName, 46> kKeyNames{{
    {u"BACKSPACE", NamedKey::Backspace},
    {u"BS", NamedKey::Backspace},
    {u"BKSP", NamedKey::Backspace},
    {u"BREAK", NamedKey::Break},
    {u"CAPSLOCK", NamedKey::CapsLock},
    {u"DELETE", NamedKey::Delete},
    {u"DEL", NamedKey::Delete},
    {u"DOWN", NamedKey::Down},
    {u"END", NamedKey::End},
    {u"ENTER", NamedKey::Enter},
    {u"ESC", NamedKey::Escape},
    {u"HELP", NamedKey::Help},
    {u"HOME", NamedKey::Home},
    {u"INSERT", NamedKey::Insert},
    {u"INS", NamedKey::Insert},
    {u"LEFT", NamedKey::Left},
    {u"NUMLOCK", NamedKey::NumLock},
    {u"PGDN", NamedKey::PageDown},
    {u"PGUP", NamedKey::PageUp},
    {u"PRTSC", NamedKey::PrintScreen},
    {u"RIGHT", NamedKey::Right},
    {u"SCROLLLOCK", NamedKey::ScrollLock},
    {u"TAB", NamedKey::Tab},
    {u"UP", NamedKey::Up},
    {u"F1", NamedKey::F1},
    {u"F2", NamedKey::F2},
    {u"F3", NamedKey::F3},
    {u"F4", NamedKey::F4},
    {u"F5", NamedKey::F5},
    {u"F6", NamedKey::F6},
    {u"F7", NamedKey::F7},
    {u"F8", NamedKey::F8},
    {u"F9", NamedKey::F9},
    {u"F10", NamedKey::F10},
    {u"F11", NamedKey::F11},
    {u"F12", NamedKey::F12},
    {u"F13", NamedKey::F13},
    {u"F14", NamedKey::F14},
    {u"F15", NamedKey::F15},
    {u"F16", NamedKey::F16},
    {u"ADD", NamedKey::Add},
    {u"SUBTRACT", NamedKey::Subtract},
    {u"MULTIPLY", NamedKey::Multiply},
    {u"DIVIDE", NamedKey::Divide},
}};

// Characters that mean something in send-key text and are typed only when braced.
constexpr QStringView kSpecialCharacters = u"+^%~(){}[]";

std::optional<NamedKey> namedKeyCalled(QStringView name) {
    if (name.isEmpty())
        return std::nullopt;
    for (const auto& entry : kKeyNames)
        if (name.compare(entry.name, Qt::CaseInsensitive) == 0)
            return entry.key;
    return std::nullopt;
}

QStringView nameOf(NamedKey key) {
    for (const auto& entry : kKeyNames)
        if (entry.key == key)
            return entry.name;
    return u"?";
}

// The key a character of the text stands for; see the table at the top of the file.
KeyAction actionForCharacter(char32_t character) {
    switch (character) {
    case U'\t':
        return KeyAction::Named(NamedKey::Tab);
    case U'\r':
    case U'\n':
        return KeyAction::Named(NamedKey::Enter);
    case 0x08:
        return KeyAction::Named(NamedKey::Backspace);
    case 0x1B:
        return KeyAction::Named(NamedKey::Escape);
    case 0x7F:
        return KeyAction::Named(NamedKey::Delete);
    default:
        break;
    }
    if (character >= 0x01 && character <= 0x1A)
        return KeyAction::Character(character + 0x60, ControlModifier); // 0x01 is Ctrl+a
    if (character < 0x20)
        return KeyAction::Character(character + 0x40, ControlModifier); // 0x00 Ctrl+@, 0x1D Ctrl+]
    return KeyAction::Character(character);
}

class Parser {
public:
    explicit Parser(const QString& text)
        : text_(text) {}

    KeyActions parse() {
        while (pos_ < text_.size())
            step();
        if (pending_ != NoModifier)
            refuse(QStringLiteral("a modifier with nothing after it"), pendingAt_);
        if (!groups_.empty())
            refuse(QStringLiteral("an unbalanced parenthesis"), groups_.back().openedAt);
        return std::move(actions_);
    }

private:
    // An open parenthesised group: the modifiers held for all of it (its own and those of the
    // groups around it), and whether it has typed anything yet.
    struct Group {
        unsigned modifiers;
        unsigned own;
        qsizetype openedAt;
        bool typed = false;
    };

    void step() {
        const QChar c = text_[pos_];
        switch (c.unicode()) {
        case u'+':
            return addModifier(ShiftModifier);
        case u'^':
            return addModifier(ControlModifier);
        case u'%':
            return addModifier(AltModifier);
        case u'(':
            return openGroup();
        case u')':
            return closeGroup();
        case u'{':
            return readBraced();
        case u'}':
            refuse(QStringLiteral("an unbalanced brace"), pos_);
        case u'~':
            ++pos_;
            return addKey(KeyAction::Named(NamedKey::Enter), 1, pos_ - 1);
        case u'\r':
            pos_ += (pos_ + 1 < text_.size() && text_[pos_ + 1] == u'\n') ? 2 : 1;
            return addKey(KeyAction::Named(NamedKey::Enter), 1, pos_ - 1);
        default: {
            const qsizetype at = pos_;
            return addKey(actionForCharacter(readCodePoint()), 1, at);
        }
        }
    }

    void addModifier(Modifier modifier) {
        if (pending_ == NoModifier)
            pendingAt_ = pos_;
        pending_ |= modifier;
        ++pos_;
    }

    void openGroup() {
        groups_.push_back({held() | pending_, pending_, pos_});
        pending_ = NoModifier;
        ++pos_;
    }

    void closeGroup() {
        if (pending_ != NoModifier)
            refuse(QStringLiteral("a modifier with nothing after it"), pendingAt_);
        if (groups_.empty())
            refuse(QStringLiteral("an unbalanced parenthesis"), pos_);
        const Group group = groups_.back();
        groups_.pop_back();
        if (group.own != NoModifier && !group.typed)
            refuse(QStringLiteral("a modifier with an empty group"), group.openedAt);
        ++pos_;
    }

    // "{NAME}", "{NAME n}", "{x}" or "{x n}". The first character inside the braces may itself
    // be a closing brace: "{}}" is a literal "}".
    void readBraced() {
        const qsizetype open = pos_;
        const qsizetype contentStart = open + 1;
        const qsizetype close =
            contentStart < text_.size() ? text_.indexOf(u'}', contentStart + 1) : qsizetype(-1);
        if (close < 0)
            refuse(QStringLiteral("an unbalanced brace"), open);
        pos_ = close + 1;

        const QStringView content = QStringView(text_).mid(contentStart, close - contentStart);
        const qsizetype firstLength =
            (content.size() >= 2 && content[0].isHighSurrogate() && content[1].isLowSurrogate())
                ? 2
                : 1;
        QStringView name = content;
        QStringView count;
        bool counted = false;
        if (content.size() == firstLength) {
            // One character, which may be a blank: "{ }".
        } else if (content[firstLength] == u' ') {
            name = content.left(firstLength);
            count = content.mid(firstLength + 1);
            counted = true;
        } else if (const qsizetype blank = content.indexOf(u' '); blank >= 0) {
            name = content.left(blank);
            count = content.mid(blank + 1);
            counted = true;
        }
        const int times = counted ? repeatCount(count, contentStart) : 1;
        addKey(bracedAction(name, contentStart), times, open);
    }

    KeyAction bracedAction(QStringView name, qsizetype at) {
        if (name.size() == 1 ||
            (name.size() == 2 && name[0].isHighSurrogate() && name[1].isLowSurrogate()))
            return actionForCharacter(name.toUcs4().front());
        if (const auto key = namedKeyCalled(name))
            return KeyAction::Named(*key);
        refuse(QStringLiteral("an unknown key name \"%1\"").arg(name), at);
    }

    int repeatCount(QStringView text, qsizetype at) {
        const QStringView digits = text.trimmed();
        bool ok = !digits.isEmpty() && digits.size() <= 4;
        for (const QChar c : digits)
            ok = ok && c >= u'0' && c <= u'9';
        const int value = ok ? digits.toInt() : -1;
        if (value < 0 || value > kMaxRepeat)
            refuse(QStringLiteral("a bad repeat count \"%1\" (0 to %2)").arg(text).arg(kMaxRepeat),
                   at);
        return value;
    }

    char32_t readCodePoint() {
        const QChar c = text_[pos_];
        if (c.isHighSurrogate() && pos_ + 1 < text_.size() && text_[pos_ + 1].isLowSurrogate()) {
            const char32_t code = QChar::surrogateToUcs4(c, text_[pos_ + 1]);
            pos_ += 2;
            return code;
        }
        if (c.isSurrogate())
            refuse(QStringLiteral("a broken character (lone UTF-16 surrogate)"), pos_);
        ++pos_;
        return c.unicode();
    }

    // Adds a key, repeated, with the modifiers held at this point; the pending modifiers are
    // used up by it.
    void addKey(KeyAction action, int times, qsizetype at) {
        action.modifiers |= held() | pending_;
        pending_ = NoModifier;
        if (actions_.size() + std::size_t(times) > kMaxKeys)
            refuse(QStringLiteral("more than %1 keys").arg(kMaxKeys), at);
        actions_.insert(actions_.end(), std::size_t(times), action);
        if (!groups_.empty())
            groups_.back().typed = true;
    }

    unsigned held() const { return groups_.empty() ? NoModifier : groups_.back().modifiers; }

    [[noreturn]] void refuse(const QString& problem, qsizetype at) const {
        QString description =
            QStringLiteral("Invalid procedure call or argument: %1 at position %2")
                .arg(problem)
                .arg(at + 1);
        if (text_.size() <= kMaxQuotedLength)
            description += QStringLiteral(" of \"%1\"").arg(text_);
        throw AppError(kInvalidProcedureCall, description);
    }

    const QString& text_;
    qsizetype pos_ = 0;
    unsigned pending_ = NoModifier;
    qsizetype pendingAt_ = 0;
    std::vector<Group> groups_;
    KeyActions actions_;
};

void describeModifiers(unsigned modifiers, QString& out) {
    if (modifiers & ShiftModifier)
        out += u'+';
    if (modifiers & ControlModifier)
        out += u'^';
    if (modifiers & AltModifier)
        out += u'%';
}

void describeCharacter(char32_t character, QString& out) {
    const bool special = character < 0x80 && kSpecialCharacters.contains(QChar(character));
    if (special)
        out += u'{';
    // Not QString::fromUcs4: its decoder takes a leading U+FEFF for a byte-order mark and
    // drops it.
    if (QChar::requiresSurrogates(character)) {
        out += QChar(QChar::highSurrogate(character));
        out += QChar(QChar::lowSurrogate(character));
    } else {
        out += QChar(char16_t(character));
    }
    if (special)
        out += u'}';
}

} // namespace

KeyActions ParseSendKeys(const QString& keys) {
    return Parser(keys).parse();
}

QString DescribeKeys(const KeyActions& actions) {
    QString out;
    for (const KeyAction& action : actions) {
        describeModifiers(action.modifiers, out);
        if (action.named)
            out += u'{' + nameOf(action.key).toString() + u'}';
        else
            describeCharacter(action.character, out);
    }
    return out;
}

} // namespace platform

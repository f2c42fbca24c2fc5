// orvane-keyreceiver OUTPUT: a window that takes the keyboard focus, then makes OUTPUT and
// appends every key it gets to it as canonical send-key text, flushed at once ("{?0xKEY}" for a
// key it cannot name).
#include "platform/send_keys.h"

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace {

using platform::KeyAction;
using platform::NamedKey;

// Qt's keys for the named keys up to Up, in the order of NamedKey; the keypad's for those after
// F16. (F1 to F16 are in a row in both.)
const int kKeys[] = {Qt::Key_Backspace, Qt::Key_Pause,      Qt::Key_CapsLock, Qt::Key_Delete,
                     Qt::Key_Down,      Qt::Key_End,        Qt::Key_Return,   Qt::Key_Escape,
                     Qt::Key_Help,      Qt::Key_Home,       Qt::Key_Insert,   Qt::Key_Left,
                     Qt::Key_NumLock,   Qt::Key_PageDown,   Qt::Key_PageUp,   Qt::Key_Print,
                     Qt::Key_Right,     Qt::Key_ScrollLock, Qt::Key_Tab,      Qt::Key_Up};
const int kKeypadKeys[] = {Qt::Key_Plus, Qt::Key_Minus, Qt::Key_Asterisk, Qt::Key_Slash};

std::optional<NamedKey> namedKey(int key, bool keypad) {
    if (key == Qt::Key_Enter)
        return NamedKey::Enter;
    const auto place = [](const auto& keys, int wanted) -> std::optional<int> {
        const auto found = std::ranges::find(keys, wanted);
        return found == std::end(keys) ? std::nullopt
                                       : std::optional(int(found - std::begin(keys)));
    };
    if (keypad) {
        const auto found = place(kKeypadKeys, key);
        return found ? std::optional(NamedKey(int(NamedKey::Add) + *found)) : std::nullopt;
    }
    if (key >= Qt::Key_F1 && key <= Qt::Key_F16)
        return NamedKey(int(NamedKey::F1) + (key - Qt::Key_F1));
    const auto found = place(kKeys, key == Qt::Key_Backtab ? int(Qt::Key_Tab) : key);
    return found ? std::optional(NamedKey(*found)) : std::nullopt;
}

bool isModifierKey(int key) {
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt ||
           key == Qt::Key_AltGr || key == Qt::Key_Meta || key == Qt::Key_Super_L ||
           key == Qt::Key_Super_R || key == Qt::Key_Hyper_L || key == Qt::Key_Hyper_R;
}

bool printable(const QString& text) {
    return !text.isEmpty() && text.front() >= u' ' && text.front() != QChar(0x7F);
}

// The send-key actions a key event stands for: printable text as its characters (Shift is in
// the text), named keys with their modifiers, and keys held with Ctrl or Alt as the modifiers
// plus the key's own character. A modifier key alone gives nothing.
platform::KeyActions actionsFor(const QKeyEvent& event) {
    // Qt has no key code for X11's Break keysym: it is Ctrl+Pause on a PC keyboard.
    const int key =
        event.key() == 0 && event.nativeVirtualKey() == 0xFF6B ? int(Qt::Key_Pause) : event.key();
    if (isModifierKey(key))
        return {};
    unsigned modifiers = platform::NoModifier;
    for (const auto& [qt, ours] : {std::pair{Qt::ShiftModifier, platform::ShiftModifier},
                                   {Qt::ControlModifier, platform::ControlModifier},
                                   {Qt::AltModifier, platform::AltModifier}})
        modifiers |= event.modifiers() & qt ? ours : platform::NoModifier;
    if (const auto name = namedKey(key, event.modifiers() & Qt::KeypadModifier))
        return {KeyAction::Named(*name, modifiers)};
    if (modifiers & (platform::ControlModifier | platform::AltModifier)) {
        // With Ctrl the text is a control character (or nothing): the key tells which one, and
        // always for a letter.
        const bool letter = key >= Qt::Key_A && key <= Qt::Key_Z;
        return {KeyAction::Character(letter || !printable(event.text())
                                         ? QChar::toLower(char32_t(key))
                                         : event.text().toUcs4().front(),
                                     modifiers)};
    }
    platform::KeyActions actions;
    if (printable(event.text()))
        for (const char32_t c : event.text().toUcs4())
            actions.push_back(KeyAction::Character(c));
    return actions;
}

class ReceiverWindow : public QWidget {
public:
    explicit ReceiverWindow(const QString& outputPath)
        : output_(outputPath) {
        setWindowTitle(QStringLiteral("Orvane key receiver"));
        setFocusPolicy(Qt::StrongFocus);
        // Without a window manager nobody hands the focus over: ask until it is there.
        connect(&focusTimer_, &QTimer::timeout, this, [this] {
            if (isActiveWindow() && hasFocus()) {
                focusTimer_.stop();
                output_.open(QIODevice::WriteOnly); // tells the test the window is ready
                return;
            }
            activateWindow();
            raise();
            setFocus();
        });
        focusTimer_.start(100);
    }

protected:
    // Tab and Backtab never reach keyPressEvent (focus chain); everything comes through here.
    bool event(QEvent* event) override {
        switch (event->type()) {
        case QEvent::ShortcutOverride:
            event->accept(); // keys with Ctrl or Alt come as key presses, not shortcuts
            return true;
        case QEvent::KeyPress:
            record(static_cast<QKeyEvent&>(*event));
            return true;
        default:
            return QWidget::event(event);
        }
    }

private:
    void record(const QKeyEvent& event) {
        const platform::KeyActions actions = actionsFor(event);
        QString text = platform::DescribeKeys(actions);
        if (actions.empty() && event.text().isEmpty() && !isModifierKey(event.key()))
            text = QStringLiteral("{?0x%1}").arg(event.key(), 0, 16);
        output_.write(text.toUtf8());
        output_.flush();
    }

    QFile output_;
    QTimer focusTimer_;
};

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    ReceiverWindow window(app.arguments().value(1));
    window.setGeometry(0, 0, 640, 480);
    window.show();
    return app.exec();
}

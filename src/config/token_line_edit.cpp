#include "config/token_line_edit.h"

#include "config/append_strings.h"

#include <QKeyEvent>

#include <cstdlib>

namespace config {

TokenLineEdit::TokenLineEdit(QWidget* parent)
    : QLineEdit(parent)
    , boundaries_(TokenBoundaries(QString())) {
    connect(this, &QLineEdit::textChanged, this, [this](const QString& text) {
        boundaries_ = TokenBoundaries(text);
        setToolTip(text);
    });
}

void TokenLineEdit::keyPressEvent(QKeyEvent* event) {
    const bool extend = event->modifiers().testFlag(Qt::ShiftModifier);
    const int caret = cursorPosition();
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Up:
        if (!extend && hasSelectedText())
            moveToBoundary(selectionStart(), false); // a selection collapses to its start
        else
            moveToBoundary(PreviousBoundary(boundaries_, caret), extend);
        return;
    case Qt::Key_Right:
    case Qt::Key_Down:
        if (!extend && hasSelectedText())
            moveToBoundary(selectionEnd(), false);
        else
            moveToBoundary(NextBoundary(boundaries_, caret), extend);
        return;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

void TokenLineEdit::moveToBoundary(int position, bool extend) {
    if (!extend) {
        deselect();
        setCursorPosition(position);
        return;
    }
    // The end of the selection away from the caret stays where it is.
    int anchor = cursorPosition();
    if (hasSelectedText())
        anchor = cursorPosition() == selectionStart() ? selectionEnd() : selectionStart();
    setSelection(anchor, position - anchor);
}

void TokenLineEdit::mouseReleaseEvent(QMouseEvent* event) {
    QLineEdit::mouseReleaseEvent(event);
    snapToUnits();
}

void TokenLineEdit::mouseDoubleClickEvent(QMouseEvent* event) {
    QLineEdit::mouseDoubleClickEvent(event);
    snapToUnits();
}

void TokenLineEdit::snapToUnits() {
    if (!hasSelectedText()) {
        const int caret = cursorPosition();
        const int before = PreviousBoundary(boundaries_, caret + 1);
        const int after = NextBoundary(boundaries_, caret - 1);
        setCursorPosition(caret - before <= after - caret ? before : after);
        return;
    }
    const bool caretAtEnd = cursorPosition() == selectionEnd();
    const int start = PreviousBoundary(boundaries_, selectionStart() + 1);
    const int end = NextBoundary(boundaries_, selectionEnd() - 1);
    if (caretAtEnd)
        setSelection(start, end - start);
    else
        setSelection(end, start - end);
}

} // namespace config

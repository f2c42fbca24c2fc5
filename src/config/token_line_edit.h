#pragma once

#include <QLineEdit>
#include <QVector>

#include <cstdint>

namespace config {

// The pattern box: a text box whose caret moves over whole units of the token language, so that
// a token such as "<SHIFT>" is never split. The unit boundaries are rebuilt on every change of
// the text. Left and Up move to the previous boundary, Right and Down to the next; with Shift
// they extend the selection to it. A click puts the caret on the nearest boundary, and a
// selection made with the mouse is widened to whole units. Typing and pasting work as in any
// text box; a half-typed token is plain text until its ">" is there.
class TokenLineEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit TokenLineEdit(QWidget* parent = nullptr);

    const QVector<std::int16_t>& boundaries() const { return boundaries_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void moveToBoundary(int position, bool extend);
    void snapToUnits();

    QVector<std::int16_t> boundaries_;
};

} // namespace config

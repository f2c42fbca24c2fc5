#pragma once

#include <QTimer>
#include <QWidget>

#include <cstdint>

class QLabel;
class QFrame;

namespace shell {

// A small borderless notice that shows one message while a long operation runs, or for a set
// time. It has no buttons; a click closes it when a time-out was set and otherwise only puts it
// away, so the caller can still close it when its work is done.
class frmMessage : public QWidget {
    Q_OBJECT
public:
    explicit frmMessage(QWidget* parent = nullptr);

    // Shows text, the label sized to fit it.
    void SetMessageText(const QString& text);
    // Closes the window after t ticks of 100 ms (50 is about five seconds; 0 closes at the
    // first tick).
    void SetTimeOut(std::int32_t& t);

    QString messageText() const;
    bool timerEnabled() const { return timerEnabled_; }

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onTick();
    void onClick();

    QFrame* Shape1;
    QLabel* lbMessage;
    QTimer Timer1;
    bool timerEnabled_ = false;
    std::int32_t elapsed_ = 0;
    std::int32_t timeOut_ = 0;
};

} // namespace shell

#include "shell/frm_message.h"

#include "platform/error_report.h"

#include <QEvent>
#include <QFrame>
#include <QLabel>
#include <QVBoxLayout>

namespace shell {

namespace {
constexpr int kTickMs = 100;
} // namespace

frmMessage::frmMessage(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , Shape1(new QFrame(this))
    , lbMessage(new QLabel(QStringLiteral("Enter Message Here"), Shape1)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("frmMessage"));
    Shape1->setObjectName(QStringLiteral("Shape1"));
    Shape1->setFrameShape(QFrame::Box);
    Shape1->setLineWidth(2);
    lbMessage->setObjectName(QStringLiteral("lbMessage"));
    lbMessage->setAlignment(Qt::AlignCenter);
    lbMessage->setWordWrap(true);
    lbMessage->installEventFilter(this);

    // The frame fills the window and the label sits inside it, whatever the window's size.
    auto* frameLayout = new QVBoxLayout(Shape1);
    frameLayout->setContentsMargins(16, 12, 16, 12);
    frameLayout->addWidget(lbMessage);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(Shape1);

    connect(&Timer1, &QTimer::timeout, this, platform::guarded([this] { onTick(); }));
}

void frmMessage::SetMessageText(const QString& text) {
    lbMessage->setText(text);
    lbMessage->adjustSize();
    adjustSize();
}

QString frmMessage::messageText() const {
    return lbMessage->text();
}

void frmMessage::SetTimeOut(std::int32_t& t) {
    timeOut_ = t;
    timerEnabled_ = true;
    Timer1.start(kTickMs);
}

bool frmMessage::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate || event->type() == QEvent::Show) {
        elapsed_ = 0;
        Timer1.setInterval(kTickMs);
        if (timerEnabled_ && !Timer1.isActive())
            Timer1.start();
    }
    return QWidget::event(event);
}

void frmMessage::onTick() {
    ++elapsed_;
    if (elapsed_ >= timeOut_)
        close();
}

void frmMessage::mousePressEvent(QMouseEvent* event) {
    QWidget::mousePressEvent(event);
    onClick();
}

bool frmMessage::eventFilter(QObject* watched, QEvent* event) {
    if (watched == lbMessage && event->type() == QEvent::MouseButtonPress)
        onClick();
    return QWidget::eventFilter(watched, event);
}

void frmMessage::onClick() {
    if (timerEnabled_)
        close();
    else
        hide();
}

} // namespace shell

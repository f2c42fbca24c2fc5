// orvane-keyreceiver: a window that takes the keyboard focus and writes down every key it gets,
// for tests that type into it from outside.
//
//   orvane-keyreceiver OUTPUT [READY]
//
// Each key is appended to OUTPUT as canonical send-key text (DescribeKeys) and flushed at once,
// so a reader sees every key as soon as the window has handled it. A key the window cannot
// name is written as "{?0xKEY}". Once the window has the focus, its window id is printed on
// stdout and written to READY (created whole, by renaming), so tests can wait for it.
#include "keyreceiver/key_reconstruction.h"

#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QSaveFile>
#include <QTimer>
#include <QWidget>

#include <cstdio>

namespace {

class ReceiverWindow : public QWidget {
public:
    ReceiverWindow(const QString& outputPath, const QString& readyPath)
        : output_(outputPath)
        , readyPath_(readyPath) {
        setWindowTitle(QStringLiteral("Orvane key receiver"));
        setFocusPolicy(Qt::StrongFocus);
        if (!output_.open(QIODevice::WriteOnly | QIODevice::Append)) {
            std::fprintf(stderr, "cannot open %s\n", qPrintable(outputPath));
            std::exit(2);
        }
        // Without a window manager nobody hands the focus over: ask until it is there.
        connect(&focusTimer_, &QTimer::timeout, this, [this] { claimFocus(); });
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
        case QEvent::KeyRelease:
            return true;
        default:
            return QWidget::event(event);
        }
    }

private:
    void claimFocus() {
        if (isActiveWindow() && hasFocus()) {
            focusTimer_.stop();
            announceReady();
            return;
        }
        activateWindow();
        raise();
        setFocus();
    }

    void announceReady() {
        const QByteArray id = QByteArray::number(qulonglong(winId()));
        std::printf("%s\n", id.constData());
        std::fflush(stdout);
        if (readyPath_.isEmpty())
            return;
        QSaveFile ready(readyPath_);
        if (ready.open(QIODevice::WriteOnly)) {
            ready.write(id + '\n');
            ready.commit();
        }
    }

    void record(const QKeyEvent& event) {
        const platform::KeyActions actions = keyreceiver::actionsFor(event);
        QString text = platform::DescribeKeys(actions);
        if (actions.empty() && event.text().isEmpty() && !isModifierOnly(event))
            text = QStringLiteral("{?0x%1}").arg(event.key(), 0, 16);
        output_.write(text.toUtf8());
        output_.flush();
    }

    static bool isModifierOnly(const QKeyEvent& event) {
        const int key = event.key();
        return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt ||
               key == Qt::Key_AltGr || key == Qt::Key_Meta || key == Qt::Key_Super_L ||
               key == Qt::Key_Super_R;
    }

    QFile output_;
    QString readyPath_;
    QTimer focusTimer_;
};

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2 || args.size() > 3) {
        std::fprintf(stderr, "usage: orvane-keyreceiver OUTPUT [READY]\n");
        return 2;
    }
    ReceiverWindow window(args[1], args.value(2));
    window.setGeometry(0, 0, 640, 480);
    window.show();
    return app.exec();
}

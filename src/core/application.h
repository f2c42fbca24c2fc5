#pragma once

#include <QApplication>

namespace core {

// The program's application object. A failure that escapes an event handler is shown in one
// error box and the program goes on running; handlers are wrapped with platform::guarded as
// well, because an exception must not travel through Qt's own frames.
class Application : public QApplication {
public:
    Application(int& argc, char** argv);
    bool notify(QObject* receiver, QEvent* event) override;
};

} // namespace core

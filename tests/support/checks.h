#pragma once
// Small helpers of the checks in every test program.

#include "platform/app_error.h"

#include <QDir>
#include <QObject>
#include <QString>
#include <QTest>
#include <QWidget>

#include <functional>
#include <gtest/gtest.h>
#include <ostream>
#include <stdexcept>
#include <string>

// Failures show a QString as its text.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace testsupport {

// The AppError an action throws: its number (0 when it throws none) and description.
struct ThrownError {
    int number = 0;
    QString description;
};

inline ThrownError errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const platform::AppError& error) {
        return {error.number(), error.description()};
    }
    return {};
}

// Whether text holds every one of parts; a failure quotes the text.
template <class... Parts>
testing::AssertionResult contains(const QString& text, const Parts&... parts) {
    return ((text.contains(parts) && ...) ? testing::AssertionSuccess()
                                          : testing::AssertionFailure())
           << text.toStdString();
}

// Whether a message names this file as the program shows it: with the system's separators, and
// on Windows in any letter case (the program names its own files as it spells them).
inline bool namesFile(const QString& message, const QString& path) {
#ifdef Q_OS_WIN
    constexpr Qt::CaseSensitivity kCase = Qt::CaseInsensitive;
#else
    constexpr Qt::CaseSensitivity kCase = Qt::CaseSensitive;
#endif
    return message.contains(QDir::toNativeSeparators(path), kCase);
}

// The child object of a window with this object name; a missing one ends the test.
template <class T = QObject>
T* child(const QObject& parent, const char* name) {
    T* found = parent.findChild<T*>(QString::fromLatin1(name));
    if (!found)
        throw std::runtime_error(std::string("no control ") + name);
    return found;
}

// Shows the window and makes it the active one, as a click into it does.
inline bool activate(QWidget& window) {
    window.show();
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window);
}

// The user clicks into another window and then back into this one.
inline bool leaveAndReturn(QWidget& window) {
    QWidget other;
    return activate(other) && activate(window);
}

} // namespace testsupport

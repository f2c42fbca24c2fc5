#pragma once

#include <QString>

#include <exception>
#include <utility>

namespace platform {

// The text of the error box for a failure that reached the top of an event handler.
QString errorBoxText(const std::exception& error);

// Shows one error box for a failure that reached the top of an event handler. The program
// goes on running afterwards.
void reportError(const std::exception& error);
void reportUnknownError();

// Runs an event handler; a failure it does not handle itself is reported, never propagated
// into the event loop.
template <class F>
void runGuarded(F&& handler) {
    try {
        std::forward<F>(handler)();
    } catch (const std::exception& error) {
        reportError(error);
    } catch (...) {
        reportUnknownError();
    }
}

// Wraps a handler for connecting to a signal:
//   connect(button, &QPushButton::clicked, this, guarded([this] { ... }));
// The wrapper takes exactly the arguments the handler takes, so a handler may ignore the
// signal's arguments as a plain slot could.
template <class F>
auto guarded(F handler) {
    return [handler](auto&&... args) -> decltype(handler(std::forward<decltype(args)>(args)...),
                                                 void()) {
        runGuarded([&] { handler(std::forward<decltype(args)>(args)...); });
    };
}

} // namespace platform

#include "platform/queued_typer.h"

#include "platform/error_report.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <algorithm>
#include <thread>

namespace platform {

using namespace std::chrono_literals;

QueuedTyper::QueuedTyper() {
    drainTimer_.setSingleShot(true);
    drainTimer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&drainTimer_, &QTimer::timeout, [this] { runGuarded([this] { drain(); }); });
    quietTimer_.setSingleShot(true);
    QObject::connect(&quietTimer_, &QTimer::timeout, [this] {
        runGuarded([this] {
            dirty_ = false;
            quiet();
        });
    });
}

QueuedTyper::~QueuedTyper() = default;

void QueuedTyper::type(const KeyActions& actions) {
    if (actions.empty() || shutDown_)
        return;
    if (queue_.empty())
        beginBurst();
    queue_.insert(queue_.end(), actions.begin(), actions.end());
    quietTimer_.stop();
    if (hasEventLoop())
        drain();
    else
        drainBlocking();
}

void QueuedTyper::setKeyDelay(int milliseconds) {
    delay_ = std::chrono::milliseconds(std::max(milliseconds, 0));
}

void QueuedTyper::finish() {
    drainTimer_.stop();
    drainBlocking();
    if (hasEventLoop())
        quietTimer_.start(quietPeriod());
}

void QueuedTyper::shutDown() {
    if (shutDown_)
        return;
    shutDown_ = true;
    drainTimer_.stop();
    quietTimer_.stop();
    // A destructor must not throw: keys that cannot be typed any more are dropped.
    try {
        drainBlocking();
        if (dirty_)
            quiet();
    } catch (...) {
        queue_.clear();
    }
}

void QueuedTyper::drain() {
    try {
        while (!queue_.empty()) {
            if (Clock::now() < notBefore_) {
                wakeAt(notBefore_);
                break;
            }
            sendNext(Clock::now());
        }
        flush();
    } catch (...) {
        // The system refused; what is left would fail the same way, and must not come out
        // later out of order. What did go out is pushed on.
        queue_.clear();
        flush();
        throw;
    }
    if (queue_.empty() && hasEventLoop())
        quietTimer_.start(quietPeriod());
}

void QueuedTyper::drainBlocking() {
    try {
        while (!queue_.empty()) {
            if (const auto now = Clock::now(); now < notBefore_) {
                flush();
                std::this_thread::sleep_until(notBefore_);
            }
            sendNext(Clock::now());
        }
        flush();
    } catch (...) {
        queue_.clear();
        flush();
        throw;
    }
}

// Sends the first queued key, or learns when to try it again.
void QueuedTyper::sendNext(Clock::time_point now) {
    if (const auto retry = sendKey(queue_.front())) {
        // A system that names a time already past is asked again a moment later, not at once.
        notBefore_ = std::max(*retry, now + 1ms);
        return;
    }
    queue_.pop_front();
    dirty_ = true;
    if (delay_ > 0ms)
        notBefore_ = Clock::now() + delay_;
}

void QueuedTyper::wakeAt(Clock::time_point when) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now());
    drainTimer_.start(std::max(wait, 0ms));
}

bool QueuedTyper::hasEventLoop() {
    return QCoreApplication::instance() != nullptr &&
           QAbstractEventDispatcher::instance() != nullptr;
}

} // namespace platform

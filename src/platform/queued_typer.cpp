#include "platform/queued_typer.h"

#include "platform/error_report.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <algorithm>
#include <thread>

namespace platform {

using namespace std::chrono_literals;

namespace {

// Longer waits go to a timer. Shorter ones are slept in place: a timer would round them up to
// whole milliseconds and add the event loop's latency, and the program is not held up for long.
constexpr auto kLongestWaitInPlace = 2ms;

} // namespace

QueuedTyper::QueuedTyper() {
    drainTimer_.setSingleShot(true);
    drainTimer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&drainTimer_, &QTimer::timeout,
                     [this] { runGuarded([this] { drain(Waiting::OnTimer); }); });
}

QueuedTyper::~QueuedTyper() = default;

void QueuedTyper::type(const KeyActions& actions) {
    if (actions.empty() || shutDown_)
        return;
    if (queue_.empty())
        beginBurst();
    queue_.insert(queue_.end(), actions.begin(), actions.end());
    drain(hasEventLoop() ? Waiting::OnTimer : Waiting::InPlace);
}

void QueuedTyper::setKeyDelay(int milliseconds) {
    delay_ = std::chrono::milliseconds(std::max(milliseconds, 0));
}

void QueuedTyper::finish() {
    drainTimer_.stop();
    drain(Waiting::InPlace);
}

void QueuedTyper::shutDown() {
    if (shutDown_)
        return;
    shutDown_ = true;
    drainTimer_.stop();
    // A destructor must not throw: keys that cannot be typed any more are dropped.
    try {
        drain(Waiting::InPlace);
    } catch (...) {
        queue_.clear();
    }
}

void QueuedTyper::drain(Waiting waiting) {
    try {
        while (!queue_.empty()) {
            if (const auto now = Clock::now(); now < notBefore_) {
                flush();
                if (waiting == Waiting::OnTimer && notBefore_ - now > kLongestWaitInPlace) {
                    wakeAt(notBefore_);
                    return;
                }
                std::this_thread::sleep_until(notBefore_);
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
}

// Sends the first queued key, or learns when to try it again.
void QueuedTyper::sendNext(Clock::time_point now) {
    if (const auto retry = sendKey(queue_.front())) {
        // A system that names a time already past is asked again a moment later, not at once.
        notBefore_ = std::max(*retry, now + 100us);
        return;
    }
    queue_.pop_front();
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

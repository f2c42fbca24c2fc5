#pragma once

#include "platform/send_keys.h"

#include <QTimer>

#include <chrono>
#include <deque>
#include <optional>

namespace platform {

// The part of a system typer that decides when each key goes out; the system part only knows
// how to send one key. type() queues the keys and sends at once what may be sent; the rest is
// sent from the Qt event loop, so a key delay never blocks the program for a whole string.
// Keys of consecutive type() calls go out in the order they were handed over.
//
// Waits of a moment (the gaps some receiving applications need between keys) are slept in
// place, as is every wait without an event loop in the calling thread (tools).
class QueuedTyper : public KeyTyper {
public:
    using Clock = std::chrono::steady_clock;

    QueuedTyper();
    ~QueuedTyper() override;
    QueuedTyper(const QueuedTyper&) = delete;
    QueuedTyper& operator=(const QueuedTyper&) = delete;

    void type(const KeyActions& actions) final;
    void setKeyDelay(int milliseconds) final;
    int keyDelay() const { return int(delay_.count()); }

    // Keys handed over and not yet sent.
    std::size_t pendingKeys() const { return queue_.size(); }

    // Sends every queued key before returning, keeping the key delay.
    void finish();

protected:
    // Called when a key arrives while the queue is empty, before it is queued: the place to
    // connect and to look at the keyboard afresh. An exception here leaves nothing queued.
    virtual void beginBurst() {}

    // Sends one key (the first of queued()), or tells the earliest time at which it can be sent
    // (then it is asked again for the same key at that time).
    virtual std::optional<Clock::time_point> sendKey(const KeyAction& action) = 0;

    // Pushes out what sendKey produced; called after each run of keys and before each wait.
    virtual void flush() {}

    // The keys handed over and not yet sent, the one being sent first: for a system that plans
    // ahead.
    const std::deque<KeyAction>& queued() const { return queue_; }

    // For the destructor of the system part, which must run before its functions are gone:
    // sends what is queued.
    void shutDown();

private:
    enum class Waiting { InPlace, OnTimer };
    void drain(Waiting waiting);
    void sendNext(Clock::time_point now);
    void wakeAt(Clock::time_point when);
    static bool hasEventLoop();

    std::deque<KeyAction> queue_;
    std::chrono::milliseconds delay_{0};
    Clock::time_point notBefore_{};
    bool shutDown_ = false;
    QTimer drainTimer_;
};

} // namespace platform

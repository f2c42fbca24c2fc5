#include "platform/app_error.h"
#include "platform/queued_typer.h"
#include "support/errors.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <functional>
#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;

namespace {

// A system part that writes down what it sends and when, and can be told to hold a key back
// for a while (as the X11 typer does while a spare key settles) or to fail.
class FakeSystemTyper : public QueuedTyper {
public:
    ~FakeSystemTyper() override { shutDown(); }

    QString sent;
    std::vector<Clock::time_point> sentAt;
    int bursts = 0;
    int quietCalls = 0;
    int asked = 0;
    char32_t holdBack = 0;                // this character must wait once ...
    std::chrono::milliseconds holdFor{0}; // ... for this long
    char32_t failOn = 0;
    QString* mirror = nullptr; // also written here, to be read after the typer is gone

protected:
    void beginBurst() override { ++bursts; }

    std::optional<Clock::time_point> sendKey(const KeyAction& action) override {
        ++asked;
        if (action.character == failOn)
            throw AppError(70, "Permission denied: test");
        if (action.character == holdBack) {
            holdBack = 0;
            return Clock::now() + holdFor;
        }
        sent += QString::fromUcs4(&action.character, 1);
        if (mirror)
            *mirror += QString::fromUcs4(&action.character, 1);
        sentAt.push_back(Clock::now());
        return std::nullopt;
    }

    void quiet() override { ++quietCalls; }
    std::chrono::milliseconds quietPeriod() const override { return 30ms; }
};

bool waitUntil(const std::function<bool()>& done) {
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}

} // namespace

TEST(QueuedTyper, WithoutDelaySendsEverythingBeforeTypeReturns) {
    FakeSystemTyper typer;
    typer.type(ParseSendKeys("abc"));
    typer.type(ParseSendKeys("de"));
    EXPECT_EQ(typer.sent, "abcde");
    EXPECT_EQ(typer.pendingKeys(), 0u);
    EXPECT_EQ(typer.bursts, 2);
}

TEST(QueuedTyper, KeyDelaySpacesKeysFromTheEventLoopInOrder) {
    FakeSystemTyper typer;
    typer.setKeyDelay(25);
    typer.type(ParseSendKeys("abc"));
    // type() came back after the first key: the rest waits for the event loop.
    EXPECT_EQ(typer.sent, "a");
    EXPECT_EQ(typer.pendingKeys(), 2u);
    typer.type(ParseSendKeys("de"));
    EXPECT_EQ(typer.bursts, 1) << "a call while keys are queued continues the burst";

    ASSERT_TRUE(waitUntil([&] { return typer.pendingKeys() == 0; }));
    EXPECT_EQ(typer.sent, "abcde");
    for (std::size_t i = 1; i < typer.sentAt.size(); ++i)
        EXPECT_GE(typer.sentAt[i] - typer.sentAt[i - 1], 25ms) << "between key " << i;
}

TEST(QueuedTyper, KeyHeldBackBySystemIsRetriedLaterAndKeepsItsPlace) {
    FakeSystemTyper typer;
    typer.holdBack = U'b';
    typer.holdFor = 40ms;
    const auto start = QueuedTyper::Clock::now();
    typer.type(ParseSendKeys("abc"));
    EXPECT_EQ(typer.sent, "a");
    ASSERT_TRUE(waitUntil([&] { return typer.pendingKeys() == 0; }));
    EXPECT_EQ(typer.sent, "abc");
    EXPECT_GE(typer.sentAt[1] - start, 40ms);
}

TEST(QueuedTyper, FinishSendsTheQueueAtOnceAndQuietFollowsIdleness) {
    FakeSystemTyper typer;
    typer.setKeyDelay(5);
    typer.type(ParseSendKeys("wxyz"));
    typer.finish();
    EXPECT_EQ(typer.sent, "wxyz");
    EXPECT_EQ(typer.quietCalls, 0);
    ASSERT_TRUE(waitUntil([&] { return typer.quietCalls == 1; }));
}

TEST(QueuedTyper, QuietWaitsWhileKeysArePending) {
    FakeSystemTyper typer;
    typer.setKeyDelay(20);
    typer.type(ParseSendKeys("abcdef")); // 100 ms of keys, beyond the 30 ms quiet period
    ASSERT_TRUE(waitUntil([&] { return typer.pendingKeys() == 0; }));
    EXPECT_EQ(typer.quietCalls, 0);
    ASSERT_TRUE(waitUntil([&] { return typer.quietCalls == 1; }));
}

TEST(QueuedTyper, FailureDropsTheRestAndTheNextCallStartsAfresh) {
    FakeSystemTyper typer;
    typer.failOn = U'x';
    const auto error = testsupport::errorOf([&] { typer.type(ParseSendKeys("axb")); });
    EXPECT_EQ(error.number, 70);
    EXPECT_EQ(typer.pendingKeys(), 0u);
    typer.failOn = 0;
    typer.type(ParseSendKeys("c"));
    EXPECT_EQ(typer.sent, "ac");
    EXPECT_EQ(typer.bursts, 2);
}

TEST(QueuedTyper, DestructionTypesWhatIsStillQueued) {
    QString sent;
    {
        FakeSystemTyper typer;
        typer.mirror = &sent;
        typer.setKeyDelay(10);
        typer.type(ParseSendKeys("abc"));
        EXPECT_EQ(sent, "a");
    }
    EXPECT_EQ(sent, "abc");
}

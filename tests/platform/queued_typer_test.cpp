#include "platform/app_error.h"
#include "platform/queued_typer.h"
#include "support/checks.h"

#include <QTest>

#include <gtest/gtest.h>

using namespace platform;
using namespace std::chrono_literals;

namespace {

// A system part that writes down what it sends and when, and can be told to fail. (Keys the
// system holds back while a spare key settles are typed for real in the X11 end-to-end tests.)
class FakeSystemTyper : public QueuedTyper {
public:
    explicit FakeSystemTyper(QString& sent)
        : sent(sent) {}
    ~FakeSystemTyper() override { shutDown(); }

    QString& sent; // kept by the test, to be read also after the typer is gone
    std::vector<Clock::time_point> sentAt;
    int bursts = 0;
    char32_t failOn = 0;
    Clock::duration gap{}; // the system's own least time between keys

protected:
    void beginBurst() override { ++bursts; }

    std::optional<Clock::time_point> sendKey(const KeyAction& action) override {
        if (action.character == failOn)
            throw AppError(70, "Permission denied: test");
        if (!sentAt.empty() && Clock::now() < sentAt.back() + gap)
            return sentAt.back() + gap;
        sent += QString::fromUcs4(&action.character, 1);
        sentAt.push_back(Clock::now());
        return std::nullopt;
    }
};

} // namespace

TEST(QueuedTyper, WithoutDelayTypeSendsEverythingAndAFailureDropsTheRest) {
    QString sent;
    FakeSystemTyper typer(sent);
    typer.type(ParseSendKeys("abc"));
    typer.type(ParseSendKeys("de"));
    EXPECT_EQ(sent, "abcde");
    EXPECT_EQ(typer.bursts, 2);

    typer.failOn = U'x';
    EXPECT_EQ(testsupport::errorOf([&] { typer.type(ParseSendKeys("fxg")); }).number, 70);
    typer.failOn = 0;
    typer.type(ParseSendKeys("h"));
    EXPECT_EQ(sent, "abcdefh") << "nothing of the failed call is left queued";
    EXPECT_EQ(typer.bursts, 4);
}

// Even with an event loop: type() comes back with every key sent.
TEST(QueuedTyper, ShortWaitsOfTheSystemAreKeptInPlace) {
    QString sent;
    FakeSystemTyper typer(sent);
    typer.gap = 500us;
    typer.type(ParseSendKeys("abcd"));
    EXPECT_EQ(sent, "abcd");
    for (std::size_t i = 1; i < typer.sentAt.size(); ++i)
        EXPECT_GE(typer.sentAt[i] - typer.sentAt[i - 1], 500us) << "between key " << i;
}

// With a key delay the keys go out from the event loop; finish() and the destructor send what is
// queued at once.
TEST(QueuedTyper, KeyDelayFinishAndDestruction) {
    QString sent;
    {
        FakeSystemTyper typer(sent);
        typer.setKeyDelay(20);
        typer.type(ParseSendKeys("abc"));
        EXPECT_EQ(sent, "a") << "type() comes back after the first key";
        typer.type(ParseSendKeys("def"));
        EXPECT_EQ(typer.bursts, 1) << "a call while keys are queued continues the burst";
        ASSERT_TRUE(QTest::qWaitFor([&] { return typer.pendingKeys() == 0; }));
        EXPECT_EQ(sent, "abcdef");
        for (std::size_t i = 1; i < typer.sentAt.size(); ++i)
            EXPECT_GE(typer.sentAt[i] - typer.sentAt[i - 1], 20ms) << "between key " << i;

        typer.type(ParseSendKeys("wx"));
        typer.finish();
        EXPECT_EQ(sent, "abcdefwx");
        typer.type(ParseSendKeys("yz")); // z at least still waits for its key delay
    }
    EXPECT_EQ(sent, "abcdefwxyz");
}

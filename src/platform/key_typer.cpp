// The typer in use and the send-key entry point.
#include "platform/send_keys.h"

#include <QCoreApplication>

namespace platform {

namespace {

KeyTyper* installedTyper = nullptr;
std::unique_ptr<KeyTyper> systemTyper;

// The system typer owns timers: it must go while the application object still exists.
void dropSystemTyper() {
    systemTyper.reset();
}

KeyTyper& theSystemTyper() {
    if (!systemTyper) {
        systemTyper = createSystemTyper();
        if (QCoreApplication::instance())
            qAddPostRoutine(dropSystemTyper);
    }
    return *systemTyper;
}

} // namespace

std::vector<QString> RecordingTyper::described() const {
    std::vector<QString> texts;
    texts.reserve(calls_.size());
    for (const KeyActions& call : calls_)
        texts.push_back(DescribeKeys(call));
    return texts;
}

KeyTyper& keyTyper() {
    return installedTyper ? *installedTyper : theSystemTyper();
}

void setKeyTyper(KeyTyper* typer) {
    installedTyper = typer;
}

void SendKeys(const QString& keys) {
    // Parsed in full first: malformed text types nothing at all.
    const KeyActions actions = ParseSendKeys(keys);
    keyTyper().type(actions);
}

} // namespace platform

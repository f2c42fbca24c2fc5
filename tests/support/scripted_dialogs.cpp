#include "support/scripted_dialogs.h"

#include <algorithm>

namespace testsupport {

namespace {

// The answer of the default button; a default beyond the set is its last button.
platform::Answer defaultAnswer(const platform::MessageRequest& request) {
    using enum platform::Answer;
    static const std::vector<platform::Answer> sets[] = {
        {Ok}, {Ok, Cancel}, {Yes, No}, {Yes, No, Cancel}, {Retry, Cancel}, {Abort, Retry, Ignore}};
    const auto& set = sets[static_cast<int>(request.buttons)];
    return set[std::min(static_cast<std::size_t>(request.defaultButton), set.size() - 1)];
}

} // namespace

ScriptedDialogs::ScriptedDialogs() {
    platform::setDialogs(this);
}

ScriptedDialogs::~ScriptedDialogs() {
    platform::setDialogs(nullptr);
}

QStringList ScriptedDialogs::messageTexts() const {
    QStringList texts;
    for (const auto& request : messages_)
        texts << request.text;
    return texts;
}

void ScriptedDialogs::clear() {
    answers_.clear();
    inputs_.clear();
    files_.clear();
    messages_.clear();
    fileRequests_.clear();
    inputPrompts_.clear();
}

platform::Answer ScriptedDialogs::message(const platform::MessageRequest& request) {
    messages_.push_back(request);
    if (answers_.empty())
        return defaultAnswer(request);
    const platform::Answer next = answers_.front();
    answers_.pop_front();
    return next;
}

std::optional<QString> ScriptedDialogs::take(std::deque<Reply>& queue) {
    if (queue.empty())
        return std::nullopt;
    const Reply next = queue.front();
    queue.pop_front();
    if (!next.given)
        return std::nullopt;
    return next.text;
}

std::optional<QString> ScriptedDialogs::input(const QString& prompt, const QString&,
                                              const QString&) {
    inputPrompts_ << prompt;
    return take(inputs_);
}

std::optional<QString> ScriptedDialogs::openFile(const platform::FileRequest& request) {
    fileRequests_.push_back(request);
    return take(files_);
}

std::optional<QString> ScriptedDialogs::saveFile(const platform::FileRequest& request) {
    return openFile(request);
}

} // namespace testsupport

#include "support/scripted_dialogs.h"

namespace testsupport {

namespace {

platform::Answer defaultAnswer(const platform::MessageRequest& request) {
    using platform::Answer;
    using platform::Buttons;
    const auto index = static_cast<int>(request.defaultButton);
    switch (request.buttons) {
    case Buttons::Ok:
        return Answer::Ok;
    case Buttons::OkCancel:
        return index == 0 ? Answer::Ok : Answer::Cancel;
    case Buttons::YesNo:
        return index == 0 ? Answer::Yes : Answer::No;
    case Buttons::YesNoCancel:
        return index == 0 ? Answer::Yes : index == 1 ? Answer::No : Answer::Cancel;
    case Buttons::RetryCancel:
        return index == 0 ? Answer::Retry : Answer::Cancel;
    case Buttons::AbortRetryIgnore:
        return index == 0 ? Answer::Abort : index == 1 ? Answer::Retry : Answer::Ignore;
    }
    return Answer::Ok;
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

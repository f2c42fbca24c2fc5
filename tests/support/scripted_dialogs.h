#pragma once

#include "platform/dialogs.h"

#include <QString>
#include <QStringList>

#include <deque>
#include <initializer_list>
#include <vector>

namespace testsupport {

// Dialogs for tests: every request is recorded, and answers come from a script. A question that
// the script does not answer gets its default button, as if the user had pressed Enter; a file
// dialog or input box that is not answered is cancelled.
class ScriptedDialogs : public platform::Dialogs {
public:
    // Installs itself for the lifetime of the object.
    ScriptedDialogs();
    ~ScriptedDialogs() override;

    void answer(platform::Answer next) { answers_.push_back(next); }
    void answer(std::initializer_list<platform::Answer> next) {
        answers_.insert(answers_.end(), next);
    }
    // std::nullopt scripts a cancel.
    void answerInput(const std::optional<QString>& text) { inputs_.push_back(reply(text)); }
    void answerFile(const std::optional<QString>& path) { files_.push_back(reply(path)); }

    const std::vector<platform::MessageRequest>& messages() const { return messages_; }
    QStringList messageTexts() const;
    const std::vector<platform::FileRequest>& fileRequests() const { return fileRequests_; }
    const QStringList& inputPrompts() const { return inputPrompts_; }
    void clear();

    platform::Answer message(const platform::MessageRequest& request) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override;
    std::optional<QString> openFile(const platform::FileRequest& request) override;
    std::optional<QString> saveFile(const platform::FileRequest& request) override;

private:
    // A scripted text answer; given is false for a cancel. (A pair rather than an optional,
    // which GCC 12 misjudges as maybe-uninitialized when it is queued.)
    struct Reply {
        bool given = false;
        QString text;
    };
    static Reply reply(const std::optional<QString>& text) {
        return {text.has_value(), text.value_or(QString())};
    }
    static std::optional<QString> take(std::deque<Reply>& queue);

    std::deque<platform::Answer> answers_;
    std::deque<Reply> inputs_;
    std::deque<Reply> files_;
    std::vector<platform::MessageRequest> messages_;
    std::vector<platform::FileRequest> fileRequests_;
    QStringList inputPrompts_;
};

} // namespace testsupport

#pragma once

#include "platform/dialogs.h"

namespace platform {

// Whether standard error is a terminal (progress is shown there only then).
bool stderrIsTerminal();

// Dialogs for the command line, where nobody can answer: a message is written to standard error,
// a question gets its default button, and file dialogs and input boxes are cancelled.
class ConsoleDialogs : public Dialogs {
public:
    Answer message(const MessageRequest& request) override;
    std::optional<QString> input(const QString&, const QString&, const QString&) override {
        return std::nullopt;
    }
    std::optional<QString> openFile(const FileRequest&) override { return std::nullopt; }
    std::optional<QString> saveFile(const FileRequest&) override { return std::nullopt; }
};

} // namespace platform

#pragma once

#include "platform/dialogs.h"

#include <QString>

#include <cstdio>

namespace platform {

// A program built for the window subsystem starts without a console. Started with a command
// from a console, it writes to that console (unless its output is redirected already, as a
// scheduled task's log is); elsewhere nothing needs doing.
void attachParentConsole();

// Whether standard error is a terminal (progress is shown there only then).
bool stderrIsTerminal();

// Writes text to standard output or standard error without losing a character: a Windows
// console takes it as UTF-16, whatever its code page; a file or pipe gets UTF-8 on Windows and
// the locale's encoding elsewhere.
void writeText(std::FILE* stream, const QString& text);

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

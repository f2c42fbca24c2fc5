#pragma once

#include "platform/dialogs.h"

namespace platform {

// The dialogs a user sees: QMessageBox, QInputDialog and QFileDialog.
class QtDialogs : public Dialogs {
public:
    Answer message(const MessageRequest& request) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override;
    std::optional<QString> openFile(const FileRequest& request) override;
    std::optional<QString> saveFile(const FileRequest& request) override;
};

} // namespace platform

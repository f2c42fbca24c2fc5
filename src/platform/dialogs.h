#pragma once

#include <QString>

#include <memory>
#include <optional>

class QWidget;

namespace platform {

enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel, AbortRetryIgnore };
enum class Icon { None, Critical, Question, Exclamation, Information };
enum class Answer { Ok, Cancel, Yes, No, Retry, Abort, Ignore };
// Which button is the default: the first, second or third of the set.
enum class DefaultButton { First, Second, Third };

struct MessageRequest {
    QString text;
    QString title;
    Buttons buttons = Buttons::Ok;
    Icon icon = Icon::None;
    DefaultButton defaultButton = DefaultButton::First;
};

// A file dialog's settings. The filter is a list of alternating labels and patterns separated
// by vertical bars: "All (*.*)|*.*|Databases (*.mdb)|*.mdb".
struct FileRequest {
    QString title;
    QString startFile; // a file name or path to start with; may be empty
    QString filter;
    QString defaultSuffix;  // added to a name typed without one, e.g. "mdb"
    bool mustExist = false; // the chosen file must already exist
    bool confirmOverwrite = false;
};

// Every message box, input box and file dialog of the program goes through this interface, so
// that tests can read what would be shown and answer it.
class Dialogs {
public:
    virtual ~Dialogs() = default;
    virtual Answer message(const MessageRequest& request) = 0;
    // Empty result: the user cancelled.
    virtual std::optional<QString> input(const QString& prompt, const QString& title,
                                         const QString& defaultText) = 0;
    virtual std::optional<QString> openFile(const FileRequest& request) = 0;
    virtual std::optional<QString> saveFile(const FileRequest& request) = 0;
};

// The dialogs in use: the real ones unless a test installed its own.
Dialogs& dialogs();
// Installs replacement dialogs (not owned) or, with nullptr, goes back to the real ones.
void setDialogs(Dialogs* replacement);

// The window that dialogs are centred on; may be null.
void setDialogParent(QWidget* parent);

// Shorthands for the common cases.
Answer msgBox(const QString& text, Buttons buttons = Buttons::Ok, Icon icon = Icon::None,
              const QString& title = QString(), DefaultButton defaultButton = DefaultButton::First);

// How many message boxes have been shown so far (a window can tell whether one was shown while
// it worked).
int messagesShown();

// Title used when a caller gives none.
QString defaultDialogTitle();

// Converts a filter in vertical-bar form to the form of Qt's file dialogs.
QString qtFileFilter(const QString& barSeparated);

} // namespace platform

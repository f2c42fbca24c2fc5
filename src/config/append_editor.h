#pragma once

#include <QGroupBox>

class QComboBox;
class QLineEdit;
class QPushButton;

namespace config {

class TokenLineEdit;

// The "Scanner Return Pattern" frame of the program setup window: the pattern being edited
// (TxtApendStr, in stored token form, with a caret that moves over whole tokens), the names of
// the stored patterns (CmbNames; typing a new name names a new pattern), and the buttons that
// insert the return value, its unit, plain text and command keys, and save and remove patterns.
class AppendEditor : public QGroupBox {
    Q_OBJECT
public:
    explicit AppendEditor(QWidget* parent = nullptr);

    QString pattern() const;
    void setPattern(const QString& pattern);
    // Fills the name list from tblAppendStr and selects the name of the pattern being edited.
    void refreshNames();
    // Fills the name list again, keeping the name shown (it may be typed and not stored yet).
    void refreshNamesKeepingName();
    // Puts the caret at the end of the pattern and the focus on it.
    void caretToEnd();

    // Puts text in place of the pattern's selection (at its caret when nothing is selected) and
    // gives the pattern box the focus.
    void AddCmdChar(const QString& text);

    void CmdAddText_Click();
    void Cmdaddtolist_Click();
    void CmdRemove_Click();
    void CmbNames_Click();

Q_SIGNALS:
    // The user changed the pattern or the name.
    void edited();

private:
    QPushButton* button(const QString& caption, const char* name);

    QComboBox* CmbNames = nullptr;
    TokenLineEdit* TxtApendStr = nullptr;
    QLineEdit* TxtAdd = nullptr;
};

} // namespace config

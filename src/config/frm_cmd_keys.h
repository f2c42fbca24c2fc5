#pragma once

#include <QHash>
#include <QWidget>

#include <array>
#include <vector>

class QButtonGroup;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace config {

class AppendEditor;

// The command keys picker: special keys (function keys, arrows, Tab, Enter ...) with or without
// Shift, Ctrl and Alt, chosen from the list of the Keys table or simply pressed, are built into
// their token text, which Send inserts at the caret of the pattern editor. Keys are matched by
// the Windows virtual-key codes of the table's Ascii column, on every system.
class frmCmdKeys : public QWidget {
    Q_OBJECT
public:
    static constexpr int kKeyButtons = 40;
    static constexpr int kPlainKey = 255; // the chosen key is the plain key of TbKey

    // Shows the one command keys window for this editor, beside the window that holds it.
    static frmCmdKeys* showWindow(AppendEditor& editor, QWidget* beside);

    explicit frmCmdKeys(AppendEditor& editor, QWidget* parent = nullptr);

    // Lists the keys of the Keys table, in Index order, on the key buttons.
    void Load();

    QString code() const;
    void CmdSend_Click();

protected:
    // Every control hands its keys to the window first, so that a pressed key chooses its row
    // whatever control has the focus: Space does not click the focused button, the arrows do not
    // move the focus. Only the text boxes also take the keys typed into them.
    bool eventFilter(QObject* watched, QEvent* event) override;
    // The keys of the window itself, when no control has the focus.
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    // Tab is a key to pick here, not a way to the next control.
    bool focusNextPrevChild(bool next) override;

private:
    void buildControls();
    void KeyDown(const QKeyEvent& event, bool typing);
    void KeyUp(const QKeyEvent& event);
    void showModifiers(Qt::KeyboardModifiers held);
    void chooseKey(int button);
    void BuildCode();
    void chooseRow(const QString& query, Qt::KeyboardModifiers held);

    AppendEditor& editor_;
    QLineEdit* TbCode = nullptr;
    QPushButton* CmdSend = nullptr;
    std::vector<QRadioButton*> OptKey;
    QRadioButton* OptKeyBox = nullptr;
    QLineEdit* TbKey = nullptr;
    std::array<QCheckBox*, 3> ChCmd{};
    QPushButton* CancelButton = nullptr;
    QButtonGroup* keys_ = nullptr;

    int chosen_ = kPlainKey;
    QHash<int, int> buttonOfIndex_; // Keys.Index -> key button
    // The keys pressed in this window and not yet released, with the modifiers held at the press.
    QHash<int, Qt::KeyboardModifiers> pressed_;
    int lowestAscii_ = 0;
    int highestAscii_ = -1;
    bool building_ = false;
};

} // namespace config

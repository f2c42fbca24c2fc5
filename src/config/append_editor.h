#pragma once

#include <QGroupBox>

class QComboBox;
class QLineEdit;

namespace config {

// The "Scanner Return Pattern" frame of the program setup window: the pattern being edited
// (TxtApendStr, in stored token form) and the names of the stored patterns (CmbNames).
class AppendEditor : public QGroupBox {
    Q_OBJECT
public:
    explicit AppendEditor(QWidget* parent = nullptr);

    QString pattern() const;
    void setPattern(const QString& pattern);
    // Fills the name list from tblAppendStr and selects the name of the pattern being edited.
    void refreshNames();
    // Puts the caret at the end of the pattern.
    void caretToEnd();

Q_SIGNALS:
    // The user changed the pattern or the name.
    void edited();

private:
    QLineEdit* TxtApendStr = nullptr;
    QComboBox* CmbNames = nullptr;
};

} // namespace config

#include "config/append_editor.h"

#include "config/append_strings.h"
#include "platform/widgets.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLineEdit>

namespace config {

using platform::named;

AppendEditor::AppendEditor(QWidget* parent)
    : QGroupBox(QStringLiteral("Scanner Return Pattern"), parent) {
    setObjectName(QStringLiteral("fraAppend"));
    TxtApendStr = named(new QLineEdit(this), "TxtApendStr");
    CmbNames = named(new QComboBox(this), "CmbNames");
    CmbNames->setEditable(true); // typing a new name names a new pattern
    auto* layout = new QFormLayout(this);
    layout->addRow(CmbNames);
    layout->addRow(TxtApendStr);

    connect(TxtApendStr, &QLineEdit::textChanged, this, [this](const QString& text) {
        TxtApendStr->setToolTip(text);
        Q_EMIT edited();
    });
    connect(CmbNames, &QComboBox::editTextChanged, this, &AppendEditor::edited);
}

QString AppendEditor::pattern() const {
    return TxtApendStr->text();
}

void AppendEditor::setPattern(const QString& pattern) {
    TxtApendStr->setText(pattern);
}

void AppendEditor::refreshNames() {
    UpdateNames(*CmbNames, TxtApendStr->text());
}

void AppendEditor::caretToEnd() {
    TxtApendStr->setCursorPosition(static_cast<int>(TxtApendStr->text().size()));
}

} // namespace config

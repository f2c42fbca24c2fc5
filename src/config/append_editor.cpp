#include "config/append_editor.h"

#include "config/append_strings.h"
#include "config/frm_cmd_keys.h"
#include "config/token_line_edit.h"
#include "core/shared_state.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLineEdit>
#include <QPushButton>

namespace config {

using platform::guarded;
using platform::named;

AppendEditor::AppendEditor(QWidget* parent)
    : QGroupBox(QStringLiteral("Scanner Return Pattern"), parent) {
    setObjectName(QStringLiteral("fraAppend"));
    // Made in the order a user moves through them with Tab.
    CmbNames = named(new QComboBox(this), "CmbNames");
    CmbNames->setEditable(true);
    CmbNames->setInsertPolicy(QComboBox::NoInsert); // a name is listed once it is saved
    // As wide as the layout makes it, whatever names are stored: long ones are elided.
    CmbNames->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    CmbNames->setMinimumContentsLength(20);
    QPushButton* Cmdaddtolist = button(QStringLiteral("Save/Add to List"), "Cmdaddtolist");
    QPushButton* CmdRemove = button(QStringLiteral("Remove from List"), "CmdRemove");
    TxtApendStr = named(new TokenLineEdit(this), "TxtApendStr");
    TxtApendStr->setMinimumWidth(TxtApendStr->fontMetrics().horizontalAdvance(QString(40, u'x')));
    QPushButton* CmdClear = button(QStringLiteral("Clear"), "CmdClear");
    TxtAdd = named(new QLineEdit(this), "TxtAdd");
    QPushButton* CmdAddText = button(QStringLiteral("Add This >"), "CmdAddText");
    QPushButton* CmdAddRetVal = button(QStringLiteral("Add <RetVal>"), "CmdAddRetVal");
    QPushButton* CmdAddUoM = button(QStringLiteral("Add <UoM>"), "CmdAddUoM");
    QPushButton* CmdCodes = button(QStringLiteral("Commands Codes"), "CmdCodes");

    auto* grid = new QGridLayout(this);
    grid->addWidget(CmbNames, 0, 0, 1, 2);
    grid->addWidget(Cmdaddtolist, 0, 2);
    grid->addWidget(CmdRemove, 0, 3);
    grid->addWidget(TxtApendStr, 1, 0, 1, 3);
    grid->addWidget(CmdClear, 1, 3);
    grid->addWidget(TxtAdd, 2, 0, 1, 2);
    grid->addWidget(CmdAddText, 2, 2);
    grid->addWidget(CmdAddRetVal, 3, 0);
    grid->addWidget(CmdAddUoM, 3, 1);
    grid->addWidget(CmdCodes, 3, 2);
    grid->setColumnStretch(1, 1);

    TxtApendStr->setToolTip(QString());
    connect(TxtApendStr, &QLineEdit::textChanged, this, &AppendEditor::edited);
    connect(CmbNames, &QComboBox::editTextChanged, this, &AppendEditor::edited);
    connect(CmbNames, &QComboBox::activated, this, guarded([this] { CmbNames_Click(); }));
    connect(Cmdaddtolist, &QPushButton::clicked, this, guarded([this] { Cmdaddtolist_Click(); }));
    connect(CmdRemove, &QPushButton::clicked, this, guarded([this] { CmdRemove_Click(); }));
    connect(CmdClear, &QPushButton::clicked, this, [this] { TxtApendStr->clear(); });
    connect(CmdAddText, &QPushButton::clicked, this, [this] { CmdAddText_Click(); });
    connect(CmdAddRetVal, &QPushButton::clicked, this,
            [this] { AddCmdChar(QStringLiteral("<RetVal>")); });
    connect(CmdAddUoM, &QPushButton::clicked, this,
            [this] { AddCmdChar(QStringLiteral("<UoM>")); });
    connect(CmdCodes, &QPushButton::clicked, this,
            guarded([this] { frmCmdKeys::showWindow(*this, window()); }));
}

// The buttons do not take the focus from the pattern box when clicked, so that its selection is
// still there to be replaced; they are reached with Tab all the same.
QPushButton* AppendEditor::button(const QString& caption, const char* name) {
    auto* made = named(new QPushButton(caption, this), name);
    made->setFocusPolicy(Qt::TabFocus);
    return made;
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

void AppendEditor::refreshNamesKeepingName() {
    const QString shown = CmbNames->currentText();
    refreshNames();
    CmbNames->setEditText(shown);
}

void AppendEditor::caretToEnd() {
    TxtApendStr->setCursorPosition(static_cast<int>(TxtApendStr->text().size()));
    TxtApendStr->setFocus();
}

void AppendEditor::AddCmdChar(const QString& text) {
    TxtApendStr->insert(text);
    TxtApendStr->setFocus();
}

void AppendEditor::CmdAddText_Click() {
    TxtApendStr->insert(PlainTextToStored(TxtAdd->text()));
    TxtApendStr->setFocus();
    TxtAdd->clear();
}

void AppendEditor::CmbNames_Click() {
    if (const std::optional<core::AppendString> chosen =
            FindAppendString(CmbNames->currentText())) {
        TxtApendStr->setText(chosen->string);
        CmbNames->setEditText(chosen->name);
    }
}

void AppendEditor::Cmdaddtolist_Click() {
    QString name = CmbNames->currentText();
    if (name.trimmed().isEmpty()) {
        name = platform::dialogs()
                   .input(QStringLiteral("Enter Name:"), core::shared().strAppTitle, QString())
                   .value_or(QString());
        CmbNames->setEditText(name);
        if (name.trimmed().isEmpty())
            return;
    }
    if (name.size() > core::kAppendNameLength) {
        platform::msgBox(QStringLiteral("This name has %1 characters; a pattern's name can have at "
                                        "most %2. Shorten it and save again.")
                             .arg(name.size())
                             .arg(core::kAppendNameLength),
                         platform::Buttons::Ok, platform::Icon::Exclamation,
                         core::shared().strAppTitle);
        return;
    }
    const QString normalized = NormalizeAppendString(TxtApendStr->text());
    TxtApendStr->setText(normalized);
    SaveAppendString(name, normalized);
    UpdateNames(*CmbNames, normalized);
    if (CmbNames->currentIndex() < 0)
        CmbNames->setEditText(name); // not stored (the user kept the old one): the name stays
}

void AppendEditor::CmdRemove_Click() {
    const QString name = CmbNames->currentText();
    RemoveAppendString(name);
    UpdateNames(*CmbNames, TxtApendStr->text());
}

} // namespace config

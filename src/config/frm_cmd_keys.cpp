#include "config/frm_cmd_keys.h"

#include "config/append_editor.h"
#include "config/append_strings.h"
#include "core/program_folder.h"
#include "platform/conversions.h"
#include "platform/database.h"
#include "platform/error_report.h"
#include "platform/virtual_keys.h"
#include "platform/widgets.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScopeGuard>
#include <QVBoxLayout>

namespace config {

using platform::named;

namespace {

constexpr int kKeyColumns = 4;
// Key codes strictly between "0" and "Z" are plain keys; "0" and "Z" themselves are looked up.
constexpr int kPlainKeysAbove = 48;
constexpr int kPlainKeysBelow = 90;

platform::Database openKeys() {
    return platform::Database::open(core::programFile(QStringLiteral("CmdKeys")));
}

QPointer<frmCmdKeys>& openWindow() {
    static QPointer<frmCmdKeys> window;
    return window;
}

} // namespace

frmCmdKeys* frmCmdKeys::showWindow(AppendEditor& editor, QWidget* beside) {
    const bool opening = !openWindow();
    frmCmdKeys* window = platform::showSingleWindow(openWindow(), [&editor, beside] {
        auto made = std::make_unique<frmCmdKeys>(editor, beside);
        made->Load();
        return made;
    });
    if (opening && beside)
        window->move(beside->frameGeometry().topRight() + QPoint(8, 0));
    return window;
}

frmCmdKeys::frmCmdKeys(AppendEditor& editor, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , editor_(editor) {
    setObjectName(QStringLiteral("frmCmdKeys"));
    setWindowTitle(QStringLiteral("Command Keys"));
    buildControls();
}

void frmCmdKeys::buildControls() {
    auto* Frame1 = named(new QGroupBox(QStringLiteral("Code"), this), "Frame1");
    TbCode = named(new QLineEdit(Frame1), "TbCode");
    CmdSend = named(new QPushButton(QStringLiteral("Send"), Frame1), "CmdSend");
    auto* codeRow = new QHBoxLayout(Frame1);
    codeRow->addWidget(TbCode, 1);
    codeRow->addWidget(CmdSend);

    auto* Frame2 = named(new QGroupBox(QStringLiteral("Keys"), this), "Frame2");
    auto* keyGrid = new QGridLayout(Frame2);
    keys_ = new QButtonGroup(this);
    for (int i = 0; i < kKeyButtons; ++i) {
        auto* button = new QRadioButton(Frame2);
        button->setObjectName(QStringLiteral("OptKey%1").arg(i));
        button->hide();
        keys_->addButton(button, i);
        keyGrid->addWidget(button, i / kKeyColumns, i % kKeyColumns);
        OptKey.push_back(button);
    }
    OptKeyBox = named(new QRadioButton(QStringLiteral("Key"), Frame2), "OptKeyBox");
    keys_->addButton(OptKeyBox, kPlainKey);
    TbKey = named(new QLineEdit(Frame2), "TbKey");
    TbKey->setMaxLength(1);
    TbKey->setMaximumWidth(TbKey->fontMetrics().horizontalAdvance(QStringLiteral("WWWW")));
    const int lastRow = (kKeyButtons + kKeyColumns - 1) / kKeyColumns;
    keyGrid->addWidget(OptKeyBox, lastRow, 0);
    keyGrid->addWidget(TbKey, lastRow, 1, Qt::AlignLeft);

    auto* Frame3 = named(new QGroupBox(QStringLiteral("Command"), this), "Frame3");
    auto* modifiers = new QHBoxLayout(Frame3);
    const std::array<std::pair<const char*, const char*>, 3> boxes{
        {{"Shift", "<SHIFT>"}, {"Crtl", "<CTRL>"}, {"Alt", "<ALT>"}}};
    for (size_t i = 0; i < boxes.size(); ++i) {
        ChCmd[i] = new QCheckBox(QString::fromLatin1(boxes[i].first), Frame3);
        ChCmd[i]->setObjectName(QStringLiteral("ChCmd%1").arg(i));
        ChCmd[i]->setProperty("tag", QString::fromLatin1(boxes[i].second));
        modifiers->addWidget(ChCmd[i]);
        connect(ChCmd[i], &QCheckBox::toggled, this, [this] { BuildCode(); });
    }
    CancelButton = named(new QPushButton(QStringLiteral("Close"), this), "CancelButton");

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Frame1);
    layout->addWidget(Frame2);
    layout->addWidget(Frame3);
    layout->addWidget(CancelButton, 0, Qt::AlignRight);

    for (QWidget* control : findChildren<QWidget*>()) {
        if (control->focusPolicy() != Qt::NoFocus)
            control->installEventFilter(this);
    }

    connect(keys_, &QButtonGroup::idClicked, this, [this](int id) { chooseKey(id); });
    connect(CmdSend, &QPushButton::clicked, this, platform::guarded([this] { CmdSend_Click(); }));
    connect(CancelButton, &QPushButton::clicked, this, [this] { close(); });
}

void frmCmdKeys::Load() {
    platform::Database db = openKeys();
    platform::Recordset rows =
        db.openRecordset(QStringLiteral("SELECT Keys.* From Keys ORDER BY Keys.Index;"));
    for (int i = 0; i < kKeyButtons && !rows.eof(); ++i, rows.moveNext()) {
        QRadioButton* button = OptKey[static_cast<size_t>(i)];
        button->setText(platform::toText(rows.value(QStringLiteral("Name"))));
        button->setToolTip(platform::toText(rows.value(QStringLiteral("ToolTip"))));
        button->setProperty("tag", platform::toText(rows.value(QStringLiteral("Value"))));
        button->show();
        buttonOfIndex_.insert(rows.value(QStringLiteral("Index")).toInt(), i);
        const int ascii = rows.value(QStringLiteral("Ascii")).toInt();
        if (i == 0 || ascii < lowestAscii_)
            lowestAscii_ = ascii;
        if (i == 0 || ascii > highestAscii_)
            highestAscii_ = ascii;
    }
}

QString frmCmdKeys::code() const {
    return TbCode->text();
}

void frmCmdKeys::chooseKey(int button) {
    chosen_ = button;
    keys_->button(button)->setChecked(true);
    BuildCode();
}

// The held modifiers' tokens, then the chosen key: a key button's token, or the plain key in
// stored form.
void frmCmdKeys::BuildCode() {
    if (building_)
        return;
    building_ = true;
    const auto done = qScopeGuard([this] { building_ = false; });
    QString text;
    for (const QCheckBox* box : ChCmd) {
        if (box->isChecked())
            text += box->property("tag").toString();
    }
    if (chosen_ == kPlainKey)
        text += PlainTextToStored(TbKey->text());
    else
        text += OptKey[static_cast<size_t>(chosen_)]->property("tag").toString();
    TbCode->setText(text);
    CmdSend->setFocus();
}

void frmCmdKeys::CmdSend_Click() {
    editor_.AddCmdChar(TbCode->text());
}

bool frmCmdKeys::focusNextPrevChild(bool) {
    return false;
}

bool frmCmdKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)
        return QWidget::eventFilter(watched, event);
    const auto& key = *static_cast<QKeyEvent*>(event);
    const bool typing = qobject_cast<QLineEdit*>(watched) != nullptr;
    if (event->type() == QEvent::KeyPress)
        KeyDown(key, typing);
    else
        KeyUp(key);
    const bool tab = key.key() == Qt::Key_Tab || key.key() == Qt::Key_Backtab;
    return !typing || tab;
}

void frmCmdKeys::keyPressEvent(QKeyEvent* event) {
    if (!focusWidget())
        KeyDown(*event, false);
}

void frmCmdKeys::keyReleaseEvent(QKeyEvent* event) {
    if (!focusWidget())
        KeyUp(*event);
}

// The held modifiers show in the boxes, unless a text box is taking typed text; Tab chooses the
// row named "Tab".
void frmCmdKeys::KeyDown(const QKeyEvent& event, bool typing) {
    if (!event.isAutoRepeat())
        pressed_.insert(event.key(), event.modifiers());
    if (!typing)
        showModifiers(event.modifiers());
    if (event.key() == Qt::Key_Tab || event.key() == Qt::Key_Backtab) {
        platform::runGuarded([this, &event] {
            chooseRow(QStringLiteral("SELECT Keys.Index From Keys WHERE (((Keys.Name)= 'Tab' ));"),
                      event.modifiers());
        });
    }
}

// A released key chooses its row, with the modifiers that were held when it was pressed: a key
// code strictly between "0" and "Z" is the plain key of that letter or digit; any other is looked
// up in the Keys table. A key pressed before this window had the focus chooses nothing.
void frmCmdKeys::KeyUp(const QKeyEvent& event) {
    if (event.isAutoRepeat())
        return;
    const auto press = pressed_.constFind(event.key());
    if (press == pressed_.cend())
        return;
    const Qt::KeyboardModifiers held = *press;
    pressed_.erase(press);
    const int code = platform::WindowsVirtualKey(event.key(), held);
    platform::runGuarded([this, code, held] {
        if (code > kPlainKeysAbove && code < kPlainKeysBelow) {
            TbKey->setText(QString(QChar(code)).toLower());
            showModifiers(held);
            chooseKey(kPlainKey);
        } else if (code >= lowestAscii_ && code <= highestAscii_) {
            chooseRow(QStringLiteral("SELECT Keys.Index From Keys WHERE (((Keys.Ascii)= %1 ));")
                          .arg(code),
                      held);
        }
    });
}

void frmCmdKeys::showModifiers(Qt::KeyboardModifiers held) {
    ChCmd[0]->setChecked(held.testFlag(Qt::ShiftModifier));
    ChCmd[1]->setChecked(held.testFlag(Qt::ControlModifier));
    ChCmd[2]->setChecked(held.testFlag(Qt::AltModifier));
}

// Chooses the key button of the first row the query gives, with the held modifiers; a query
// without rows changes nothing.
void frmCmdKeys::chooseRow(const QString& query, Qt::KeyboardModifiers held) {
    platform::Database db = openKeys();
    platform::Recordset row = db.openRecordset(query);
    if (row.eof())
        return;
    const auto button = buttonOfIndex_.constFind(row.value(QStringLiteral("Index")).toInt());
    if (button == buttonOfIndex_.cend())
        return;
    showModifiers(held);
    chooseKey(*button);
}

} // namespace config

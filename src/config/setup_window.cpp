#include "config/setup_window.h"

#include "core/shared_state.h"
#include "platform/dialogs.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QHBoxLayout>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace config {

using platform::named;

SetupButtons LayOutSetupWindow(QWidget& window, std::initializer_list<QWidget*> frames) {
    auto* menuBar = new QMenuBar(&window);
    QMenu* mnuFile = named(menuBar->addMenu(QStringLiteral("&File")), "mnuFile");
    QAction* mnuFCancel = named(mnuFile->addAction(QStringLiteral("&Cancel")), "mnuFCancel");
    QAction* mnuFSave = named(mnuFile->addAction(QStringLiteral("&Save")), "mnuFSave");
    QAction* mnuFClose = named(mnuFile->addAction(QStringLiteral("Cl&ose")), "mnuFClose");

    SetupButtons buttons;
    buttons.save = named(new QPushButton(QStringLiteral("&Save"), &window), "cmdSave");
    buttons.cancel = named(new QPushButton(QStringLiteral("&Cancel"), &window), "cmdCancel");
    buttons.close = named(new QPushButton(QStringLiteral("Cl&ose"), &window), "cmdExit");
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addWidget(buttons.save);
    row->addWidget(buttons.cancel);
    row->addWidget(buttons.close);

    auto* layout = new QVBoxLayout(&window);
    layout->setMenuBar(menuBar);
    for (QWidget* frame : frames)
        layout->addWidget(frame);
    layout->addLayout(row);

    QObject::connect(mnuFCancel, &QAction::triggered, buttons.cancel, &QPushButton::click);
    QObject::connect(mnuFSave, &QAction::triggered, buttons.save, &QPushButton::click);
    QObject::connect(mnuFClose, &QAction::triggered, buttons.close, &QPushButton::click);
    return buttons;
}

bool SaveBeforeClosing(bool saved, const std::function<void()>& save) {
    if (saved)
        return true;
    const platform::Answer answer = platform::msgBox(
        QStringLiteral("Would you like to save your changes?"), platform::Buttons::YesNoCancel,
        platform::Icon::Question, core::shared().strAppTitle);
    if (answer != platform::Answer::Yes)
        return answer == platform::Answer::No;
    try {
        save();
    } catch (const std::exception& error) {
        platform::reportError(error);
        return false;
    }
    return true;
}

} // namespace config

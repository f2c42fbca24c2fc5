#include "shell/frm_taskbar.h"

#include "core/append_choice.h"
#include "core/frm_main.h"
#include "platform/error_report.h"
#include "shell/frm_message.h"

#include <QAction>
#include <QFontMetrics>
#include <QMenu>

#include <algorithm>
#include <cstring>

namespace shell {

namespace {

std::optional<bool> g_trayOverride;

QIcon statusIcon(int status) {
    QIcon icon;
    icon.addFile(QStringLiteral(":/tray/status%1.png").arg(status));
    icon.addFile(QStringLiteral(":/tray/status%1@2x.png").arg(status));
    return icon;
}

// A pattern's name as a menu item: no wider than a name of the longest allowed length, so that
// a name stored before names were limited cannot widen the menu past the screen; "&" is shown as
// itself, not taken as an access key.
QString menuText(const QMenu& menu, const QString& name) {
    const QFontMetrics metrics(menu.font());
    return metrics
        .elidedText(name, Qt::ElideRight, metrics.averageCharWidth() * core::kAppendNameLength)
        .replace(u'&', QStringLiteral("&&"));
}

} // namespace

void TrayRecord::setTip(const QString& tip) {
    const QByteArray text = tip.toLocal8Bit();
    szTip.fill('\0');
    std::memcpy(szTip.data(), text.constData(),
                static_cast<size_t>(std::min<qsizetype>(text.size(), kTipSize)));
}

QString TrayRecord::tipText() const {
    const auto end = std::find(szTip.begin(), szTip.end(), '\0');
    return QString::fromLocal8Bit(szTip.data(), end - szTip.begin());
}

bool frmTaskbar::trayAvailable() {
    if (g_trayOverride)
        return *g_trayOverride;
    return QSystemTrayIcon::isSystemTrayAvailable();
}

void frmTaskbar::setTrayAvailableOverride(std::optional<bool> available) {
    g_trayOverride = available;
}

frmTaskbar::frmTaskbar(core::frmMain& main, QObject* parent)
    : QObject(parent)
    , main_(main)
    , TaskBarIcons_{{{statusIcon(0), QStringLiteral("Orvane Mode")},
                     {statusIcon(1), QStringLiteral("Orvane Is Off")},
                     {statusIcon(2), QStringLiteral("Orvane in Keyboard Wedge Mode")}}} {
    createMenu();
}

frmTaskbar::~frmTaskbar() {
    main_.setTaskbar(nullptr);
    IconSwitch(false);
    delete muMu;
}

void frmTaskbar::createMenu() {
    muMu = new QMenu(QStringLiteral("Menu"));
    muMu->setObjectName(QStringLiteral("muMu"));
    auto add = [this](const char* name, const QString& caption, auto handler) {
        QAction* action = muMu->addAction(caption);
        action->setObjectName(QString::fromLatin1(name));
        connect(action, &QAction::triggered, this, platform::guarded(handler));
        return action;
    };
    MuSystem =
        add("MuSystem", QStringLiteral("System Settings"), [this] { main_.mnuFSettings_Click(); });
    MuScanner = add("MuScanner", QStringLiteral("Scanner Settings"),
                    [this] { main_.mnuSettingsScanner_Click(); });
    muMu->addSeparator();
    MuTable =
        add("MuTable", QStringLiteral("Translation Table"), [this] { main_.mnuFDatEnter_Click(); });
    MuMap = add("MuMap", QStringLiteral("Map Accounting"), [this] { main_.mnuFMap_Click(); });
    muMu->addSeparator();
    MuAppend = muMu->addMenu(QStringLiteral("&Return Pattern"));
    MuAppend->setObjectName(QStringLiteral("MuAppend"));
    for (int i = 0; i < 5; ++i) {
        MuAS[i] = MuAppend->addAction(QString());
        MuAS[i]->setObjectName(QStringLiteral("MuAS%1").arg(i));
        MuAS[i]->setCheckable(true);
        connect(MuAS[i], &QAction::triggered, this,
                platform::guarded([this, i] { MuAS_Click(i); }));
    }
    muMu->addSeparator();
    MuOnOff = add("MuOnOff", QStringLiteral("Scanner On"), [this] { MuOnOff_Click(); });
    muMu->addSeparator();
    muShow = add("muShow", QStringLiteral("&Show"), [this] { muShow_Click(); });
    muExit = add("muExit", QStringLiteral("E&xit"), [this] { muExit_Click(); });
}

void frmTaskbar::Load() {
    status_ = kStatusOn;
    nidTray_.hIcon = TaskBarIcons_[0].icon;
    nidTray_.setTip(TaskBarIcons_[0].tip);
    if (!tray_) {
        tray_ = new QSystemTrayIcon(this);
        connect(tray_, &QSystemTrayIcon::activated, this,
                platform::guarded(
                    [this](QSystemTrayIcon::ActivationReason reason) { onActivated(reason); }));
    }
    IconSwitch(true);
}

void frmTaskbar::Unload() {
    IconSwitch(false);
}

void frmTaskbar::IconSwitch(bool show) {
    if (show && !iconShown_) {
        Modify();
        if (tray_)
            tray_->show();
        iconShown_ = true;
    } else if (!show && iconShown_) {
        if (tray_)
            tray_->hide();
        iconShown_ = false;
    }
}

void frmTaskbar::Modify() {
    if (!tray_)
        return;
    tray_->setIcon(nidTray_.hIcon);
    tray_->setToolTip(nidTray_.tipText());
}

void frmTaskbar::Notify(const QString& text) {
    if (tray_ && trayAvailable() && QSystemTrayIcon::supportsMessages()) {
        tray_->showMessage(QStringLiteral("Orvane Translator"), text, QSystemTrayIcon::Information,
                           4000);
        return;
    }
    delete note_.data();
    auto* note = new frmMessage;
    note->setAttribute(Qt::WA_ShowWithoutActivating);
    note->setWindowFlag(Qt::WindowDoesNotAcceptFocus);
    note->setWindowTitle(text); // what a screen reader or a window list shows of it
    note->SetMessageText(text);
    std::int32_t ticks = 40;
    note->SetTimeOut(ticks);
    note->show();
    note_ = note;
}

QVariant frmTaskbar::SetStatus(std::int16_t& stat) {
    stat = std::clamp<std::int16_t>(stat, 0, static_cast<std::int16_t>(TaskBarIcons_.size() - 1));
    if (stat != status_) {
        nidTray_.setTip(TaskBarIcons_[static_cast<size_t>(stat)].tip);
        nidTray_.hIcon = TaskBarIcons_[static_cast<size_t>(stat)].icon;
        Modify();
        status_ = stat;
    }
    return status_;
}

void frmTaskbar::onActivated(QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger)
        LeftClick();
    else if (reason == QSystemTrayIcon::Context)
        RightClick(QCursor::pos());
}

void frmTaskbar::LeftClick() {
    if (HidMain) {
        main_.PopUp();
        HidMain = false;
    } else if (main_.isVisible()) {
        main_.raise();
        main_.activateWindow();
    }
}

void frmTaskbar::RightClick(const QPoint& at) {
    ShowMenu(at);
}

QMenu* frmTaskbar::BuildMenu() {
    const QStringList recent = core::RecentAppendNames();
    if (recent.size() > 5 && !MuAS[5]) {
        // The ranks allow six recent strings; the sixth item is made the first time it is needed.
        MuAS[5] = MuAppend->addAction(QString());
        MuAS[5]->setObjectName(QStringLiteral("MuAS5"));
        MuAS[5]->setCheckable(true);
        connect(MuAS[5], &QAction::triggered, this, platform::guarded([this] { MuAS_Click(5); }));
    }
    const QString selected = main_.selectedAppendName();
    for (size_t i = 0; i < MuAS.size(); ++i) {
        if (!MuAS[i])
            continue;
        const bool used = static_cast<qsizetype>(i) < recent.size();
        const QString name = used ? recent[static_cast<qsizetype>(i)] : QString();
        MuAS[i]->setVisible(used);
        MuAS[i]->setData(name);
        MuAS[i]->setText(menuText(*MuAppend, name));
        MuAS[i]->setChecked(used && recent[static_cast<qsizetype>(i)] == selected);
    }
    MuAppend->setEnabled(!recent.isEmpty());
    MuOnOff->setText(status_ != kStatusOff ? QStringLiteral("Disable") : QStringLiteral("Enable"));
    muShow->setText(main_.isVisible() ? QStringLiteral("Close") : QStringLiteral("Show"));
    return muMu;
}

void frmTaskbar::ShowMenu(const QPoint& at) {
    BuildMenu()->popup(at);
}

void frmTaskbar::MuOnOff_Click() {
    main_.ScanTog(status_ == kStatusOff);
}

void frmTaskbar::muShow_Click() {
    if (main_.isVisible()) {
        main_.PutAway();
    } else {
        main_.PopUp();
        HidMain = false;
    }
}

void frmTaskbar::MuAS_Click(int index) {
    main_.ChooseAppendString(MuAS[static_cast<size_t>(index)]->data().toString());
}

void frmTaskbar::muExit_Click() {
    main_.close();
}

} // namespace shell

#pragma once

#include "config/main_window_link.h"
#include "core/scan_switch.h"
#include "platform/comm_control.h"

#include <QMainWindow>
#include <QPointer>
#include <QWindow>

#include <functional>
#include <memory>

class QAction;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPushButton;

namespace shell {
class frmTaskbar;
}

namespace core {

class ScanSession;

// The program's small control window: whether scanning is on, which mode, which return pattern
// and accounting system; its menus open the other windows. Most of the time it is hidden and the
// program is reached through the tray. The caption of cmdScan is the scanning state: "&Start"
// means off, "&Stop" means on.
class frmMain : public QMainWindow, public ScanSwitch, public config::MainWindowLink {
    Q_OBJECT
public:
    // port: the serial port to scan from; the system's serial port when null.
    explicit frmMain(std::unique_ptr<platform::CommControl> port = nullptr,
                     QWidget* parent = nullptr);
    ~frmMain() override;

    void setTaskbar(shell::frmTaskbar* taskbar) { taskbar_ = taskbar; }

    // Runs once before the window is first shown: folders, schema upgrades, settings, port,
    // displays; starts scanning when autostart is set. A failure here ends the start-up.
    void Load();

    // ScanSwitch
    bool scanning() const override;
    void ScanTog(bool on) override;

    void cmdScan_Click();
    // Shows the window normally, restored and in front.
    void PopUp();
    // Hides the window to the tray (or minimises it where there is no tray to come back from).
    void PutAway();

    // The append selector's choice, also used by the tray menu.
    void ChooseAppendString(const QString& name);
    QString selectedAppendName() const;

    // Menu items that open other windows; each first asks to stop scanning when it is on.
    void mnuFDatEnter_Click();
    void mnuFMap_Click();
    void mnuFSettings_Click();
    void mnuSettingsScanner_Click();
    void mnuFileBackup_Click();
    void mnuFileCompact_Click();
    void mnuFileRepair_Click();

    // MainWindowLink
    QString appendDisplay() const override;
    void setAppendDisplay(const QString& pattern) override;
    void setAccountingDisplay(const QString& name) override;
    void ReturnFromWindow() override;

    platform::CommControl& port() { return *MSComm1; }
    ScanSession& session() { return *session_; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void buildMenus();
    void Activate();
    void onFocusWindowChanged(QWindow* focus);
    std::function<void()> command(std::function<void()> handler);
    void watchReturnFrom(QWidget* window);
    QList<QWidget*> ownWindows() const; // the shown windows this one opened
    bool ownWindowOpen() const;
    void txtAppend_Change(const QString& text);
    void onScanStateChanged(bool on);
    void noteScanner(const QString& text);
    void setTrayStatus(int status);
    void showLbScanMode();
    void updateMapCaption();
    void applyPortSettings();
    void upgradeSchema();
    void Unload();
    void mnuAHelp_Click();
    void mnuAbContact_Click();
    void mnuFilePrinterSetup_Click();

    std::unique_ptr<platform::CommControl> MSComm1;
    std::unique_ptr<ScanSession> session_;
    shell::frmTaskbar* taskbar_ = nullptr;

    QPushButton* cmdScan = nullptr;
    QPushButton* CmdQuit = nullptr;
    QPushButton* cmdExit = nullptr;
    QLabel* LbScanMode = nullptr;
    QLabel* Label1 = nullptr;
    QLabel* lblAppend = nullptr;
    QLabel* lblAccSys = nullptr;
    QComboBox* CmbApStr = nullptr;
    QLineEdit* txtAppend = nullptr;
    QLineEdit* txtAcc = nullptr;
    QGroupBox* fraMain = nullptr;
    QAction* mnuFMap = nullptr;

    Qt::MouseButton lastMouseButton_ = Qt::NoButton;
    bool applyingSelection_ = false; // the append selector is changing txtAppend
    bool autostartFailed_ = false;   // do not retry a failed automatic start at every activation
    bool unloaded_ = false;
    bool shownBefore_ = false;
    int commandDepth_ = 0;            // a command of this window is running
    QPointer<QWindow> previousFocus_; // the window of this program that had the focus last
};

} // namespace core

#pragma once

#include <QIcon>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>
#include <QSystemTrayIcon>

#include <array>
#include <cstdint>
#include <optional>

class QAction;
class QMenu;

namespace core {
class frmMain;
}

namespace shell {

// The record the tray icon is shown from: the icon of the current status and its tip, kept in
// a 64-character field as the shell's tray record holds it (a tip of 64 characters or more fills
// the field and has no closing NUL).
struct TrayRecord {
    static constexpr int kTipSize = 64;
    int uID = 1;
    int uFlags = 7;             // message, icon and tip
    int uCallbackMessage = 512; // mouse-move: notifications arrive as mouse moves
    QIcon hIcon;
    std::array<char, kTipSize> szTip{};

    void setTip(const QString& tip);
    QString tipText() const; // the field up to its NUL, or all 64 characters
};

// The status picture boxes: icon and tip for each status.
struct TaskBarIcon {
    QIcon icon;
    QString tip;
};

// The hidden window that owns the tray icon: status icon and tip, the popup menu (built each
// time it opens), and the way back to the main window.
class frmTaskbar : public QObject {
    Q_OBJECT
public:
    static constexpr int kStatusOn = 0;
    static constexpr int kStatusOff = 1;
    static constexpr int kStatusWedge = 2;

    explicit frmTaskbar(core::frmMain& main, QObject* parent = nullptr);
    ~frmTaskbar() override;

    // Loading installs the icon with status 0.
    void Load();
    // Unloading removes it.
    void Unload();

    // Adds (true) or removes (false) the tray icon.
    void IconSwitch(bool show);
    // Clamps stat to the statuses there are (writing the clamped value back) and, when it
    // differs from the current status, shows that status's icon and tip.
    QVariant SetStatus(std::int16_t& stat);
    // Sends the record to the shell again, so that the icon and tip follow.
    void Modify();
    // A short note to the user: a balloon of the tray icon, or, without a tray, a notice that
    // closes by itself. Neither takes the keyboard focus.
    void Notify(const QString& text);

    int status() const { return status_; }
    bool iconShown() const { return iconShown_; }
    const TrayRecord& nidTray() const { return nidTray_; }

    // The main window put itself away (minimised or hidden); a left click brings it back.
    bool HidMain = false;

    // Whether the desktop offers a tray to put the main window away to.
    static bool trayAvailable();
    // Tests run where no tray exists; they can make the program behave as if one did.
    static void setTrayAvailableOverride(std::optional<bool> available);

    // The tray's mouse notifications: left click and right click.
    void LeftClick();
    void RightClick(const QPoint& at);

    // Builds the popup menu as it is about to open (also used by the main window's right click).
    QMenu* BuildMenu();
    void ShowMenu(const QPoint& at);
    QMenu* menu() const { return muMu; }

private:
    void createMenu();
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    void MuOnOff_Click();
    void muShow_Click();
    void MuAS_Click(int index);
    void muExit_Click();

    core::frmMain& main_;
    std::array<TaskBarIcon, 3> TaskBarIcons_;
    TrayRecord nidTray_;
    QSystemTrayIcon* tray_ = nullptr;
    QPointer<QWidget> note_;
    bool iconShown_ = false;
    int status_ = kStatusOn;

    QMenu* muMu = nullptr;
    QAction* MuSystem = nullptr;
    QAction* MuScanner = nullptr;
    QAction* MuTable = nullptr;
    QAction* MuMap = nullptr;
    QMenu* MuAppend = nullptr;
    std::array<QAction*, 6> MuAS{};
    QAction* MuOnOff = nullptr;
    QAction* muShow = nullptr;
    QAction* muExit = nullptr;
};

} // namespace shell

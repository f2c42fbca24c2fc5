#pragma once

#include "config/setup_window.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QPushButton;

namespace config {

class AppendEditor;
class MainWindowLink;

// The program setup window: the accounting system whose item lists are imported, whether
// scanning starts when the program opens, whether the translation tables are shared (and where),
// and the scanner return pattern. Save writes tblSettings, the shared settings record and the
// main window's displays.
class frmSetup : public QWidget {
    Q_OBJECT
public:
    // Shows the one program setup window, loading it first when it is not open yet, without
    // making it modal. The caller has stopped scanning. A failure to load is thrown and leaves
    // no window behind.
    static frmSetup* showWindow(MainWindowLink& main, QWidget* parent = nullptr);

    explicit frmSetup(MainWindowLink& main, QWidget* parent = nullptr);
    ~frmSetup() override;

    void Load();
    void cmdSave_Click();
    void cmdCancel_Click();
    void CmdBrowse_Click();

    bool saved() const { return SetupSaved; }
    AppendEditor& appendEditor() { return *fraAppend; }

protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls();
    void connectControls();
    void fillAccountingSystems();
    void Activate();
    void changed();

    MainWindowLink& main_;
    QGroupBox* fraSetup = nullptr;
    QComboBox* cmbAccSystem = nullptr;
    QCheckBox* chkAutoStart = nullptr;
    QCheckBox* ChUseSharedDB = nullptr;
    QGroupBox* FrameDBPath = nullptr;
    QLineEdit* TxtDBLocation = nullptr;
    QPushButton* CmdBrowse = nullptr;
    AppendEditor* fraAppend = nullptr;
    SetupButtons buttons_;

    bool SetupSaved = true;
    bool loading_ = false;
    // The sharing settings as stored, which Save leaves alone unless the user changed them.
    bool storedShared_ = false;
    QString storedLocation_;
    bool namesRefreshFailed_ = false; // not retried at every activation, or errors would loop
};

// Checks and upgrades a database file chosen as the shared database; reports a file that cannot
// serve and gives false.
bool ValidateSharedDatabase(const QString& path);

} // namespace config

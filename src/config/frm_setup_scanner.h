#pragma once

#include "config/setup_window.h"
#include "core/scan_framer.h"
#include "platform/comm_control.h"
#include "platform/database.h"

#include <QWidget>

#include <cstdint>
#include <memory>
#include <optional>

class QAction;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace config {

class MainWindowLink;

// The scanner setup window: the serial port the scanner is wired to, its line settings, and the
// three switches of scan reception (acknowledge, break on CR/LF, return the scan untranslated),
// saved to tblSettings. It also tries the scanner out live: while the test runs the window
// opens the chosen port itself, cuts scans as scanning would, looks each one up in the
// translation table and shows the scan, its translation, its unit and the ending the scanner
// sent. The caption of cmdTest is the test's state: "&Test" idle, "S&top" running.
class frmSetupScanner : public QWidget {
    Q_OBJECT
public:
    // Shows the one scanner setup window, loading it first when it is not open yet, without
    // making it modal. The caller has stopped scanning. A failure to load is thrown and leaves
    // no window behind.
    static frmSetupScanner* showWindow(MainWindowLink& main, QWidget* parent = nullptr);

    // port: the port the test uses; the system's serial port when null.
    explicit frmSetupScanner(MainWindowLink& main,
                             std::unique_ptr<platform::CommControl> port = nullptr,
                             QWidget* parent = nullptr);
    ~frmSetupScanner() override;

    // Fills the controls from tblSettings and refreshes the port settings of the shared record.
    void Load();

    void cmdSave_Click();
    void cmdCancel_Click();
    void cmdTest_Click();

    bool testing() const;
    bool saved() const { return ScannerSetupSaved; }
    platform::CommControl& port() { return *MSComm1; }

    // The test's lookup: the translation of strScan with its unit, or the scan itself with
    // unit 1 when the table has none or the test is not running.
    QVariant ReturnValueTest(QString& strScan, double& unit);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls();
    void connectControls();
    void startTest();
    void stopTest();
    void closeTest();
    void reportStartFailure(const std::exception& error);
    void showScan(const QString& scan);
    void showEnding(core::ScanEnding ending);
    void showTestBoxes(bool visible);
    void settingClicked(bool stopsTest);
    void onPortLost(const QString& description);

    MainWindowLink& main_;
    std::unique_ptr<platform::CommControl> MSComm1;

    QGroupBox* fraSetup = nullptr;
    QComboBox* cmbComPort = nullptr;
    QComboBox* cmbPortSettings = nullptr;
    QCheckBox* ChAck = nullptr;
    QCheckBox* chkCRLF = nullptr;
    QCheckBox* ChRetAsScan = nullptr;
    QGroupBox* fraTest = nullptr;
    QLabel* lblScan = nullptr;
    QLineEdit* txtScan = nullptr;
    QLabel* lblReturn = nullptr;
    QLineEdit* txtReturn = nullptr;
    QLabel* lblAppend = nullptr;
    QLineEdit* txtAppend = nullptr;
    QLabel* lblUnit = nullptr;
    QLineEdit* TxtUnit = nullptr;
    QPushButton* cmdTest = nullptr;
    SetupButtons buttons_;

    bool ScannerSetupSaved = true;
    bool loading_ = false;

    // The test: its own record set on the translation table, its buffer and quiet-tick count.
    std::optional<platform::Database> testDatabase_;
    std::optional<platform::Table> testCodelink_;
    QString TestScanBuffer;
    std::int16_t TimeoutTicks = 0;
    core::ScanFramer framer_;
};

} // namespace config

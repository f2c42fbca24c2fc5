#pragma once

#include "import/accounting.h"
#include "import/import_engine.h"
#include "import/list_settings.h"

#include <QWidget>

#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace import {

// The item map window: the item source (an export file or a QuickBooks company file), which of
// its fields is the scan value, the return value and the description, the preview and the import
// into the translation table. The source and field choices are kept in tblSettings, the barcode
// record format and the header setting in the per-user settings.
class frmMap : public QWidget {
    Q_OBJECT
public:
    // Shows the one item map window, loading it first when it is not open yet. The caller has
    // stopped scanning. A failure to load is thrown and leaves no window behind.
    static frmMap* showWindow(QWidget* parent = nullptr);

    explicit frmMap(QWidget* parent = nullptr);
    ~frmMap() override;

    void Load();
    void cmdBrowseItmSrc_Click();
    void cmdItemPrev_Click();
    void cmdUpdateDB_Click();

    // The kind of the source in the source box (SourceKind).
    int sourceKind() const { return sourceKind_; }
    // The source and field choices as an IIF import takes them.
    IifImport iifImport() const;
    // Sets the source box as a user's typing or the browse command does.
    void setSource(const QString& path);

protected:
    bool event(QEvent* event) override;
    // While an import or a preview is being built, closing asks whether to stop it; the window
    // closes once it has stopped.
    void closeEvent(QCloseEvent* event) override;

private:
    class Progress;

    void buildControls();
    void connectControls();
    void txtItemSrc_Change();
    void showCompanyFileFields(const QString& path, const AccountingFlags& flags);
    void showExportFields(const QString& path);
    void showFixedColumns();
    void fillDescriptionList();
    void fillDelimiterList(int list, const QString& choice);
    ListSettings listSettings() const;
    ListOptions listOptions() const;
    std::optional<UnitFormat> unitFormat() const;
    bool work(const std::function<bool(Progress&)>& job);
    bool runImport(Progress& progress, ImportResult& result);
    bool buildPreview(Progress& progress);
    void setInputsEnabled(bool enabled);
    void refuseSource(const QString& text, bool warning);
    void saveSourceSettings(bool onUpdate);

    std::array<QWidget*, 3> inputs_{}; // the menu and the two frames: idle while working
    QLineEdit* txtItemSrc = nullptr;
    QPushButton* cmdBrowseItmSrc = nullptr;
    QLabel* lblFileType = nullptr;
    QCheckBox* ChHeader = nullptr;
    std::array<QComboBox*, 4> cmbItemMap{};
    QComboBox* txtItemRet = nullptr; // typed, or chosen from the fields
    QComboBox* cmbItemDesc = nullptr;
    QCheckBox* ChUnit = nullptr;
    std::array<QComboBox*, 2> CmbDel{};
    QPushButton* cmdItemPrev = nullptr;
    QPushButton* cmdUpdateDB = nullptr;
    QPushButton* cmdExit = nullptr;
    QProgressBar* pbarMap = nullptr;
    QLabel* lblProgress = nullptr;

    int sourceKind_ = kNotValid;
    QString appliedSource_; // the source text the kind was last worked out for
    QString country_;
    FieldLabels labels_;   // the custom-field labels of the IIF source
    QString storedScan_;   // the field choices of tblSettings, which a delimited list keeps
    QString storedReturn_; // (its columns are fixed)
    bool working_ = false;
    bool stopRequested_ = false;
};

} // namespace import

#pragma once

#include "import/accounting.h"
#include "import/import_engine.h"

#include <QWidget>

#include <array>

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
// record format in the per-user settings.
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
    void closeEvent(QCloseEvent* event) override;

private:
    class Progress;

    void buildControls();
    void connectControls();
    void txtItemSrc_Change();
    void fillChoiceLists();
    void fillDelimiterList(int list, const QString& choice);
    bool runImportOrFail();
    void setInputsEnabled(bool enabled);
    void refuseSource(const QString& text, bool warning);
    void saveSourceSettings(bool onUpdate);

    std::array<QWidget*, 3> inputs_{}; // the menu and the two frames: idle while importing
    QLineEdit* txtItemSrc = nullptr;
    QPushButton* cmdBrowseItmSrc = nullptr;
    QLabel* lblFileType = nullptr;
    std::array<QComboBox*, 4> cmbItemMap{};
    QLineEdit* txtItemRet = nullptr;
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
};

} // namespace import

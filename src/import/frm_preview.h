#pragma once

#include "import/accounting.h"
#include "import/import_engine.h"
#include "platform/database.h"

#include <QWidget>

#include <array>
#include <optional>

class QAction;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace import {

// What the item map window hands the preview: the kind of source and the source with its fields;
// filled when the window has filled tblPreview already (showing its progress as it went).
struct PreviewSource {
    int kind = kNotValid;
    IifImport source;
    AccountingFlags flags;
    bool filled = false;
};

// The import preview: the rows an import would produce (tblPreview of the program folder's
// database), one at a time, with their scan value, return value and unit. The table stays open
// from the first row shown until the window goes.
class frmPreview : public QWidget {
    Q_OBJECT
public:
    // Shows a new preview of source; one that is open already is closed first.
    static frmPreview* showWindow(const PreviewSource& source, QWidget* parent = nullptr);

    explicit frmPreview(PreviewSource source, QWidget* parent = nullptr);
    ~frmPreview() override;

    // Fills tblPreview as the kind of source needs and shows its first row.
    void Load();
    void cmdPrevious_Click();
    void cmdNext_Click();

private:
    void buildControls();
    void ShowPreviewQuickBooks();
    void BuildPreviewIif();
    void ShowPreview(QChar delimiter);
    void showFirstRow();
    void showRow();
    void showEmpty();
    void setPreviousEnabled(bool enabled);
    void setNextEnabled(bool enabled);

    PreviewSource source_;
    QGroupBox* fraPreview = nullptr;
    std::array<QLineEdit*, 4> txtScan{};
    std::array<QCheckBox*, 4> chkScan{};
    QLineEdit* txtReturn = nullptr;
    QLabel* LblUnit = nullptr;
    QLineEdit* TxtUnit = nullptr;
    QPushButton* cmdPrevious = nullptr;
    QPushButton* cmdNext = nullptr;
    QPushButton* cmdClose = nullptr;
    QAction* mnuFPrev = nullptr;
    QAction* mnuFNext = nullptr;

    std::optional<platform::Database> database_;
    std::optional<platform::Table> preview_;
};

} // namespace import

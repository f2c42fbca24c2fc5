#pragma once

#include "db/update_codelink.h"

#include <QWidget>

class QAction;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMenu;
class QMenuBar;
class QPushButton;
class QTableView;

namespace db {

class CodelinkModel;

// The data entry window: browse the translation table, add, change and delete pairs by hand,
// merge the hand-made entries back into the table (Add In), and empty a table (Delete ALL).
// The window reads and writes the translation database through GetDbPath on every operation;
// only its grid keeps a read connection while the window is open.
class frmDataEntry : public QWidget, public PairEditor {
    Q_OBJECT

public:
    // Shows the one data entry window, loading it first when it is not open yet, without making
    // it modal. The caller has stopped scanning. A failure to load (the database missing or
    // locked) is thrown as platform::AppError and leaves no window behind.
    static frmDataEntry* showWindow(QWidget* parent = nullptr);

    explicit frmDataEntry(QWidget* parent = nullptr);
    ~frmDataEntry() override;

    // Fills the grid and clears the boxes, as the window does before it is first shown.
    void load();

    // Lists tblCodelink in the grid with the four headings and puts the record count into
    // txtNumRec, under a progress window saying whether the table is being opened or updated.
    void FillCodelinkGrid(bool opening);

    // PairEditor
    QString scanText() const override;
    QString returnText() const override;
    void setScanText(const QString& text) override;
    void setReturnText(const QString& text) override;
    void focusScan() override;
    void focusReturn() override;
    CodelinkGrid& grid() override;

private:
    void buildControls();
    void connectControls();
    void setColumnWidths();

    void cmdAdd_Click();
    void cmdChgData_Click();
    void cmdDltData_Click();
    void cmdAddIn_Click();
    void cmdShowAll_Click();
    void cmdDltAll_Click();
    void MSFlexGrid1_Click();

    CodelinkModel* codelinks_;
    QMenuBar* menuBar_ = nullptr;
    QMenu* mnuFile = nullptr;
    QAction* mnuFDltAll = nullptr;
    QAction* mnuFClose = nullptr;
    QGroupBox* fraDatEnt = nullptr;
    QTableView* MSFlexGrid1 = nullptr;
    QLabel* lblScan = nullptr;
    QLineEdit* txtScan = nullptr;
    QLabel* lblRet = nullptr;
    QLineEdit* txtRet = nullptr;
    QLabel* Label1 = nullptr;
    QLineEdit* txtNumRec = nullptr;
    QPushButton* cmdAdd = nullptr;
    QPushButton* cmdChgData = nullptr;
    QPushButton* cmdDltData = nullptr;
    QPushButton* cmdAddIn = nullptr;
    QPushButton* cmdShowAll = nullptr;
    QPushButton* cmdDltAll = nullptr;
    QPushButton* cmdExit = nullptr;
};

} // namespace db

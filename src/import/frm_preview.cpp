#include "import/frm_preview.h"

#include "core/program_folder.h"
#include "import/qb_interface.h"
#include "platform/busy_cursor.h"
#include "platform/conversions.h"
#include "platform/error_report.h"
#include "platform/widgets.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace import {

using platform::named;

namespace {

const QString kEmpty = QStringLiteral("Empty");

QPointer<frmPreview>& openWindow() {
    static QPointer<frmPreview> window;
    return window;
}

// The preview's own progress: the frame caption tells what is being done.
class FrameProgress : public NoProgress {
public:
    explicit FrameProgress(QGroupBox& frame)
        : frame_(frame) {}
    void caption(const QString& text) override {
        frame_.setTitle(text);
        frame_.repaint();
    }

private:
    QGroupBox& frame_;
};

} // namespace

frmPreview* frmPreview::showWindow(const PreviewSource& source, QWidget* parent) {
    if (QPointer<frmPreview>& open = openWindow())
        delete open.data(); // its table shows what the previous preview filled
    return platform::showSingleWindow(openWindow(), [&] {
        auto window = std::make_unique<frmPreview>(source, parent);
        window->Load();
        return window;
    });
}

frmPreview::frmPreview(PreviewSource source, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , source_(std::move(source)) {
    setObjectName(QStringLiteral("frmPreview"));
    setWindowTitle(QStringLiteral("Preview Item Mapping"));
    buildControls();
}

frmPreview::~frmPreview() {
    preview_.reset();
    database_.reset();
}

void frmPreview::buildControls() {
    auto* menuBar = new QMenuBar(this);
    QMenu* mnuFile = named(menuBar->addMenu(QStringLiteral("&File")), "mnuFile");
    mnuFPrev = named(mnuFile->addAction(QStringLiteral("&Previous")), "mnuFPrev");
    mnuFNext = named(mnuFile->addAction(QStringLiteral("&Next")), "mnuFNext");
    QAction* mnuFClose = named(mnuFile->addAction(QStringLiteral("&Close")), "mnuFClose");

    fraPreview = named(new QGroupBox(this), "fraPreview");
    auto* grid = new QGridLayout(fraPreview);
    grid->addWidget(named(new QLabel(QStringLiteral("Scan"), fraPreview), "lblScan"), 0, 0);
    for (size_t i = 0; i < txtScan.size(); ++i) {
        txtScan[i] = new QLineEdit(fraPreview);
        txtScan[i]->setObjectName(QStringLiteral("txtScan%1").arg(i));
        txtScan[i]->setReadOnly(true);
        chkScan[i] = new QCheckBox(fraPreview);
        chkScan[i]->setObjectName(QStringLiteral("chkScan%1").arg(i));
        // The box shows whether the row would be imported; it is not a choice.
        chkScan[i]->setAttribute(Qt::WA_TransparentForMouseEvents);
        chkScan[i]->setFocusPolicy(Qt::NoFocus);
        chkScan[i]->setVisible(i == 0);
        grid->addWidget(chkScan[i], int(i), 1);
        grid->addWidget(txtScan[i], int(i), 2);
    }
    txtReturn = named(new QLineEdit(fraPreview), "txtReturn");
    txtReturn->setReadOnly(true);
    grid->addWidget(named(new QLabel(QStringLiteral("Return"), fraPreview), "lblReturn"), 4, 0);
    grid->addWidget(txtReturn, 4, 2);
    LblUnit = named(new QLabel(QStringLiteral("Unit of Measure Return"), fraPreview), "LblUnit");
    TxtUnit = named(new QLineEdit(fraPreview), "TxtUnit");
    TxtUnit->setReadOnly(true);
    grid->addWidget(LblUnit, 5, 0, 1, 2);
    grid->addWidget(TxtUnit, 5, 2);
    grid->setColumnMinimumWidth(2, 280);

    cmdPrevious = named(new QPushButton(QStringLiteral("&Previous"), this), "cmdPrevious");
    cmdNext = named(new QPushButton(QStringLiteral("&Next"), this), "cmdNext");
    cmdClose = named(new QPushButton(QStringLiteral("&Close"), this), "cmdClose");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdPrevious);
    buttons->addWidget(cmdNext);
    buttons->addStretch(1);
    buttons->addWidget(cmdClose);

    auto* layout = new QVBoxLayout(this);
    layout->setMenuBar(menuBar);
    layout->addWidget(fraPreview);
    layout->addLayout(buttons);

    using platform::guarded;
    connect(cmdPrevious, &QPushButton::clicked, this, guarded([this] { cmdPrevious_Click(); }));
    connect(cmdNext, &QPushButton::clicked, this, guarded([this] { cmdNext_Click(); }));
    connect(cmdClose, &QPushButton::clicked, this, [this] { close(); });
    connect(mnuFPrev, &QAction::triggered, cmdPrevious, &QPushButton::click);
    connect(mnuFNext, &QAction::triggered, cmdNext, &QPushButton::click);
    connect(mnuFClose, &QAction::triggered, cmdClose, &QPushButton::click);
}

void frmPreview::Load() {
    if (source_.filled) {
        showFirstRow();
        return;
    }
    switch (source_.kind) {
    case kCompanyFile:
        ShowPreviewQuickBooks();
        break;
    case kIif:
        BuildPreviewIif();
        break;
    case kTabDelimited:
        ShowPreview(u'\t');
        break;
    case kCommaSeparated:
        ShowPreview(u',');
        break;
    default:
        showEmpty();
        break;
    }
}

void frmPreview::ShowPreviewQuickBooks() {
    const platform::BusyCursor busy;
    FrameProgress progress(*fraPreview);
    ReadItems(false, source_.source.scanField, source_.source.source, source_.flags,
              source_.source.accounting, progress);
    showFirstRow();
}

void frmPreview::BuildPreviewIif() {
    const platform::BusyCursor busy;
    FrameProgress progress(*fraPreview);
    import::BuildIifPreview(source_.source, progress);
    showFirstRow();
}

// The delimiter is not needed: tblPreview was filled when the preview was asked for.
void frmPreview::ShowPreview(QChar) {
    showFirstRow();
}

void frmPreview::showFirstRow() {
    for (QLineEdit* box : txtScan)
        box->clear();
    fraPreview->setTitle(QStringLiteral("Item Preview"));
    preview_.reset();
    database_.emplace(platform::Database::open(core::programFile(QStringLiteral("dbScan"))));
    preview_.emplace(database_->openTable(QStringLiteral("tblPreview")));
    if (preview_->eof()) {
        showEmpty();
        return;
    }
    preview_->moveFirst();
    showRow();
    setNextEnabled(true);
    setPreviousEnabled(false);
}

void frmPreview::showEmpty() {
    txtReturn->setText(kEmpty);
    txtScan[0]->setText(kEmpty);
    chkScan[0]->hide();
    TxtUnit->hide();
    LblUnit->hide();
    setNextEnabled(false);
    setPreviousEnabled(false);
}

// A row of a company file's item that cannot be imported (it has no value in the scan field)
// holds a marker as its scan value and no unit: the first box is left unchecked and the second
// says why.
void frmPreview::showRow() {
    txtReturn->setText(platform::toText(preview_->value(QStringLiteral("PrevReturn"))));
    const QString scan = platform::toText(preview_->value(QStringLiteral("PrevScan")));
    txtScan[0]->setText(scan);
    const QVariant unit = preview_->value(QStringLiteral("Unit"));
    const bool hasUnit = !platform::isNull(unit);
    TxtUnit->setText(hasUnit ? platform::toText(unit) : QString());
    TxtUnit->setVisible(hasUnit);
    LblUnit->setVisible(hasUnit);
    const bool importable =
        scan.compare(kNoSuchField, Qt::CaseInsensitive) != 0 && scan != kBlankField;
    chkScan[0]->show();
    chkScan[0]->setChecked(importable);
    chkScan[0]->setText(importable ? QStringLiteral("Imported") : QStringLiteral("Not imported"));
    txtScan[1]->setText(importable ? QString()
                                   : QStringLiteral("Cannot be imported: the item has no value "
                                                    "in the scan field"));
}

void frmPreview::setPreviousEnabled(bool enabled) {
    cmdPrevious->setEnabled(enabled);
    mnuFPrev->setEnabled(enabled);
}

void frmPreview::setNextEnabled(bool enabled) {
    cmdNext->setEnabled(enabled);
    mnuFNext->setEnabled(enabled);
}

void frmPreview::cmdPrevious_Click() {
    const platform::BusyCursor busy;
    preview_->movePrevious();
    if (preview_->bof()) {
        preview_->moveNext();
        setPreviousEnabled(false);
    } else if (!cmdNext->isEnabled()) {
        setNextEnabled(true);
    }
    showRow();
}

void frmPreview::cmdNext_Click() {
    const platform::BusyCursor busy;
    preview_->moveNext();
    if (preview_->eof()) {
        preview_->movePrevious();
        setNextEnabled(false);
    } else if (!cmdPrevious->isEnabled()) {
        setPreviousEnabled(true);
    }
    showRow();
}

} // namespace import

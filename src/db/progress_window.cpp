#include "db/progress_window.h"

#include "core/shared_state.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace db {

ProgressWindow::ProgressWindow(const QString& status, QWidget* owner)
    : QWidget(owner, Qt::Tool | Qt::WindowTitleHint | Qt::CustomizeWindowHint)
    , status_(new QLabel(status, this)) {
    setObjectName(QStringLiteral("frmProgress"));
    setWindowTitle(core::kAppTitle);
    setWindowModality(Qt::ApplicationModal);
    status_->setObjectName(QStringLiteral("lblStatus"));
    auto* bar = new QProgressBar(this);
    bar->setRange(0, 0); // the length of the work is not known in advance
    bar->setTextVisible(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(status_);
    layout->addWidget(bar);
    setMinimumWidth(300);
    show();
    // Painted now: the work that follows does not return to the event loop until it is done.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

ProgressWindow::~ProgressWindow() {
    hide();
}

QString ProgressWindow::status() const {
    return status_->text();
}

} // namespace db

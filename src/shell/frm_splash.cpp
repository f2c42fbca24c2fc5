#include "shell/frm_splash.h"

#include <QFrame>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

namespace shell {

QString VersionText(int major, int minor) {
    return QStringLiteral("Version %1.%2").arg(major).arg(minor);
}

frmSplash::frmSplash(QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint)
    , lblVersion(new QLabel(VersionText(ORVANE_VERSION_MAJOR, ORVANE_VERSION_MINOR))) {
    setObjectName(QStringLiteral("frmSplash"));
    lblVersion->setObjectName(QStringLiteral("lblVersion"));
    auto* frame = new QFrame(this);
    frame->setFrameShape(QFrame::Box);
    auto* title = new QLabel(QStringLiteral("Orvane Translator"));
    QFont big = title->font();
    big.setPointSize(big.pointSize() * 2);
    big.setBold(true);
    title->setFont(big);
    auto* tagline = new QLabel(QStringLiteral("Barcode scans, translated and typed"));
    auto* inner = new QVBoxLayout(frame);
    inner->setContentsMargins(32, 24, 32, 24);
    inner->addWidget(title, 0, Qt::AlignCenter);
    inner->addWidget(tagline, 0, Qt::AlignCenter);
    inner->addSpacing(12);
    inner->addWidget(lblVersion, 0, Qt::AlignCenter);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(frame);
}

QString frmSplash::versionText() const {
    return lblVersion->text();
}

} // namespace shell

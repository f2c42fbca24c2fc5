#pragma once

#include <QWidget>

class QLabel;

namespace shell {

// The window shown while the program starts: the product name and "Version major.minor".
class frmSplash : public QWidget {
    Q_OBJECT
public:
    explicit frmSplash(QWidget* parent = nullptr);
    QString versionText() const;

private:
    QLabel* lblVersion;
};

// "Version " + major + "." + minor.
QString VersionText(int major, int minor);

} // namespace shell

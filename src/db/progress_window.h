#pragma once

#include <QWidget>

class QLabel;

namespace db {

// A small window that tells the user what a long database operation is doing. It shows (and is
// painted) when it is made and goes away with the object, also when the work fails.
class ProgressWindow : public QWidget {
    Q_OBJECT

public:
    ProgressWindow(const QString& status, QWidget* owner);
    ~ProgressWindow() override;
    ProgressWindow(const ProgressWindow&) = delete;
    ProgressWindow& operator=(const ProgressWindow&) = delete;

    QString status() const;

private:
    QLabel* status_;
};

} // namespace db

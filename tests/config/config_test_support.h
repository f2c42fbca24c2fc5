#pragma once
// Helpers shared by the setup window tests.

#include "config/main_window_link.h"
#include "support/checks.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QWidget>

#include <gtest/gtest.h>

namespace configtest {

// The main window as the setup windows see it, recording what they change.
struct FakeMain : config::MainWindowLink {
    QString append = QStringLiteral("<RetVal><RET>");
    QString accounting;
    int returns = 0;
    QString appendDisplay() const override { return append; }
    void setAppendDisplay(const QString& pattern) override { append = pattern; }
    void setAccountingDisplay(const QString& name) override { accounting = name; }
    void ReturnFromWindow() override { ++returns; }
};

// A setup window on a fresh program folder, beside a fake main window.
template <class Window>
struct SetupWindowTest : ::testing::Test {
    template <class T>
    T* control(const char* name) {
        return testsupport::child<T>(window, name);
    }
    QString db() const { return folder.file("dbscan.mdb"); }
    // Fields of the first tblSettings row, joined by "|", read through a connection of their own.
    QString stored(const QString& fields) const {
        return folder.rows(QStringLiteral("SELECT %1 FROM tblSettings").arg(fields)).value(0);
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    FakeMain main;
    Window window{main};
};

// Close on a window with unsaved changes asks Yes / No / Cancel; Cancel stays in the window.
inline void expectCloseAsksAndCancelStays(QWidget& window, testsupport::ScriptedDialogs& dialogs) {
    dialogs.answer(platform::Answer::Cancel);
    window.close();
    ASSERT_EQ(dialogs.messageTexts(), QStringList{"Would you like to save your changes?"})
        << "coming back to the window kept the changes unsaved";
    EXPECT_EQ(dialogs.messages()[0].buttons, platform::Buttons::YesNoCancel);
    EXPECT_TRUE(window.isVisible()) << "Cancel stays in the window";
}

} // namespace configtest

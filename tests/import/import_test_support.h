#pragma once
// Helpers shared by the import tests: a program folder to import into, QuickBooks item exports,
// and the program's command line run as a user runs it (the real executable in a program folder,
// headless, with its own settings store).

#include "core/settings.h"
#include "core/shared_state.h"
#include "import/import_engine.h"
#include "support/program_folder_fixture.h"
#include "support/scripted_dialogs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>
#include <stdexcept>

namespace importtest {

// A program folder with its settings loaded, as the item map window imports into it.
class ImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        core::LoadSettings();
        core::shared().strAppTitle = "Orvane Translator";
    }
    QString write(const QString& name, const QByteArray& bytes) const {
        return testsupport::writeFile(folder.file(name), bytes);
    }
    // tblCodelink by scan value and tblImportErrors in row order, their fields joined by "|".
    QStringList codelink() const {
        return folder.rows(
            "SELECT ScanValue, ReturnValue, Descrip, Unit FROM tblCodelink ORDER BY ScanValue");
    }
    QStringList errors() const {
        return folder.rows("SELECT ErrorDescription, ScanCode, ReturnCode, Unit FROM "
                           "tblImportErrors ORDER BY rowid");
    }

    testsupport::TempProgramFolder folder;
    testsupport::ScriptedDialogs dialogs;
    import::NoProgress progress;
};

// A QuickBooks IIF item export as QuickBooks writes it: Windows-1252, CR LF, the custom-field
// dictionary (custom field 1 labelled UPC) before the items.
inline QByteArray iifExport(const QByteArray& items) {
    return "!HDR\tPROD\tVER\r\nHDR\tQuickBooks Pro\tVersion 28.0\r\n!CUSTITEMDICT\tINDEX\tLABEL\r\n"
           "!ENDCUSTITEMDICT\r\nCUSTITEMDICT\t0\tUPC\r\nENDCUSTITEMDICT\r\n"
           "!INVITEM\tNAME\tREFNUM\tTIMESTAMP\tINVITEMTYPE\tDESC\r\n" +
           items;
}

// An item line of it; custom field 1 is the 22nd column.
inline QByteArray iifItem(const QByteArray& name, const QByteArray& description,
                          const QByteArray& custom1 = {}) {
    return "INVITEM\t" + name + "\t1\t0\tINVENTORY\t" + description + QByteArray(16, '\t') +
           custom1 + "\r\n";
}

struct Outcome {
    int status = -1;
    QString out;
    QString err;
};

// The executable in folder, named as the build names it ("orvane-translator.exe" on Windows).
inline QString executableIn(const QString& folder) {
    return QDir(folder).filePath(QFileInfo(ORVANE_EXECUTABLE).fileName());
}

// Copies the executable into folder (a copy of the program folder), where it finds its files.
inline void installExecutable(const QString& folder) {
    if (!QFile::copy(ORVANE_EXECUTABLE, executableIn(folder)))
        throw std::runtime_error("cannot copy the executable into " + folder.toStdString());
}

// Runs the executable of folder without a display; the per-user settings are kept in
// settingsFolder when one is given.
inline Outcome runProgram(const QString& folder, const QStringList& arguments,
                          const QString& settingsFolder = QString()) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY"); // headless: no display is needed
    env.insert("QT_QPA_PLATFORM", "nonexistent-platform");
    if (!settingsFolder.isEmpty())
        env.insert("XDG_CONFIG_HOME", settingsFolder);
    process.setProcessEnvironment(env);
    process.start(executableIn(folder), arguments);
    process.waitForFinished(60000);
    // Text lines in UTF-8, with CR LF on Windows.
    const auto text = [](const QByteArray& bytes) {
        return QString::fromUtf8(bytes).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    };
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            text(process.readAllStandardOutput()), text(process.readAllStandardError())};
}

} // namespace importtest

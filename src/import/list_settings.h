#pragma once

#include "import/import_engine.h"

#include <QString>

// How the user has item lists read, kept per user in the application settings store (section
// "Settings") by the item map window and used by the command line's import too.
namespace import {

struct ListSettings {
    QString afterBarcode = QStringLiteral(","); // "UMDel0": the delimiter after a barcode
    QString afterUnit = QStringLiteral(";");    // "UMDel1": the delimiter after a unit
    bool units = false;                         // "UMDel": units of measure are enabled
    bool header = false; // "FirstLineNames": a delimited list's first line holds column names
};

ListSettings ReadListSettings();
void SaveListSettings(const ListSettings& settings);

// The barcode record format of the settings (each delimiter is one character).
UnitFormat UnitFormatOf(const ListSettings& settings);

} // namespace import

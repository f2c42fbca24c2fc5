#pragma once

#include <QString>

namespace db {

class CodelinkGrid;

// What the editing rules read and set in the data entry window: the scan and return boxes, the
// focus, and the grid.
class PairEditor {
public:
    virtual ~PairEditor() = default;
    virtual QString scanText() const = 0;
    virtual QString returnText() const = 0;
    virtual void setScanText(const QString& text) = 0;
    virtual void setReturnText(const QString& text) = 0;
    virtual void focusScan() = 0;
    virtual void focusReturn() = 0;
    virtual CodelinkGrid& grid() = 0;
};

// Adds ("add"), changes ("chg") or deletes ("dlt") the pair in the editor's boxes, keeping
// tblCodelink, tblManual and the grid in step. Gives -1 when the action was refused (a message
// has been shown and the focus set), otherwise 0, or 1 after a delete; any other action word
// does nothing and gives 0. A database failure is thrown as platform::AppError, after which
// both tables and the grid are as they were before the call.
int UpdateCodelink(const QString& action, PairEditor& editor);

} // namespace db

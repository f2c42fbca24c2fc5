#include "import/qb_interface.h"

#include "platform/dialogs.h"

namespace import {

namespace {

void tellNotYet() {
    platform::msgBox(QStringLiteral("QuickBooks company files are read in a later step of this "
                                    "program. Export the item list as an IIF file meanwhile."),
                     platform::Buttons::Ok, platform::Icon::Information);
}

} // namespace

QStringList GetCustomFieldNames(const QString&, const AccountingFlags&) {
    tellNotYet();
    return {};
}

bool ReadItems(bool, const QString&, const QString&, const AccountingFlags&, const QString&) {
    tellNotYet();
    return false;
}

} // namespace import

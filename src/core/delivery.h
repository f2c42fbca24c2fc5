#pragma once

#include <QString>
#include <QVariant>

namespace platform {
class CommControl;
class Table;
} // namespace platform

// What a finished scan stands for, and typing it.
namespace core {

// The translation of a scan in codelink (open with its "PrimaryKey" index set): the row's
// ReturnValue with unit set from its Unit, or, when there is no row, the scan itself with unit 1.
// A Null Unit is an error.
QVariant LookUpScan(platform::Table& codelink, const QString& scan, double& unit);

// The lookup: in keyboard wedge mode, or when codelink has no row for the scan, the scan itself
// with unit 1; otherwise the row's ReturnValue, with unit set from its Unit. codelink is the
// open translation table with its "PrimaryKey" index set. A Null Unit is an error.
QVariant ReturnValue(platform::Table& codelink, QString& strScan, double& unit);

// Fills the template (send-key form) with the return value and unit: every "{RetVal}" and
// "{UoM}", matched without regard to case, becomes the value with its send-key specials made
// literal. Only the template's own tokens act as keys.
QString FillTemplate(const QString& appendTemplate, const QString& value, double unit);

// Builds the output for one scan and types it; then, with ACK set, writes 0x06 to the port
// (when it is still open).
// A Null return value or unit, or output the send-key parser refuses, is an error and nothing is
// typed or acknowledged.
void DeliverScan(const QString& scan, platform::Table& codelink, platform::CommControl& port);

} // namespace core

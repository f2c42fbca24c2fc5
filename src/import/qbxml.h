#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QXmlStreamReader>

// qbXML, QuickBooks' request and response language: the requests the program sends, and readers
// of the responses that take one record at a time, never a whole document tree.
namespace import::qbxml {

// The qbXML version a request is written for: "5.0", or with the country of a non-US edition in
// front ("CA5.0", "UK5.0").
struct Version {
    int major = 5;
    QString country; // "" or "US" for the US edition

    QString text() const;
};

// What the running QuickBooks is and which qbXML versions it supports (qbXML 1.0 has it).
QString HostQueryRequest(const Version& version);
// The custom-field definitions of the public owner (0).
QString DataExtDefQueryRequest(const Version& version);
// Every item with its public custom fields, maxReturned at a time: iteratorId empty starts the
// list, else continues it.
QString ItemQueryRequest(const Version& version, int maxReturned, const QString& iteratorId);

// The status a response carries on its "...Rs" element, and its iterator.
struct Status {
    int code = 0;
    QString severity;
    QString message;
    int remaining = 0; // iteratorRemainingCount
    QString iteratorId;
};

// The highest qbXML version (its major number) a HostQuery response lists; 0 when none.
int HighestSupportedVersion(const QString& response);

// The names of the custom fields a DataExtDefQuery response defines for items (AssignToObject
// "Item"), in its order; status is set from the response.
QStringList ItemCustomFieldNames(const QString& response, Status& status);

// One item record: its kind (the element name, "ItemInventoryRet" ...), its fields by their path
// within the record ("FullName", "SalesOrPurchase/Desc" ...), and its custom fields.
struct Item {
    QString kind;
    QHash<QString, QString> fields;
    bool hasCustomFields = false;
    QList<QPair<QString, QString>> customFields; // DataExtName, DataExtValue

    QString field(const QString& path) const { return fields.value(path); }
};

// Reads an ItemQuery response one item at a time. A response that is not well-formed, or ends
// early, throws AppError saying so.
class ItemReader {
public:
    // Reads up to the "ItemQueryRs" element and its status.
    explicit ItemReader(const QString& response);

    const Status& status() const { return status_; }
    // The next item; false after the last one.
    bool next(Item& item);

private:
    void readItem(Item& item);
    [[noreturn]] void fail() const;

    QXmlStreamReader xml_;
    Status status_;
    bool inResponse_ = false;
};

} // namespace import::qbxml

#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace platform {

// QuickBooks' request processor: the SDK's way into a running QuickBooks with a company file
// open. A session is opened on the company file, qbXML requests are sent through it one at a
// time, each giving its response, and the session is ended. Failures throw AppError with a text
// that tells the user what to do (start QuickBooks with the file open, allow the program in
// QuickBooks, close the file elsewhere).
class QbRequestProcessor {
public:
    virtual ~QbRequestProcessor() = default;
    // Connects and opens a session on the company file.
    virtual void beginSession(const QString& companyFile) = 0;
    virtual QString processRequest(const QString& request) = 0;
    // Ends the session and the connection; never throws.
    virtual void endSession() = 0;
};

// The system's request processor: the SDK's COM object on Windows; elsewhere one whose session
// cannot begin, because QuickBooks runs only on Windows.
std::unique_ptr<QbRequestProcessor> createQbRequestProcessor();

// Tests and benchmarks play QuickBooks: the factory gives the processor to use (nullptr goes back
// to the system's).
void setQbRequestProcessorFactory(std::function<std::unique_ptr<QbRequestProcessor>()> factory);

// The text a user gets where QuickBooks cannot be reached at all.
inline const QString kQuickBooksOnlyOnWindows =
    QStringLiteral("QuickBooks company files can be read only on Windows, with QuickBooks "
                   "installed");

} // namespace platform

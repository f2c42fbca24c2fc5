// QuickBooks runs only on Windows: here a session cannot begin, and the user is told so.
#include "platform/app_error.h"
#include "platform/qb_request_processor.h"

namespace platform {

namespace {

class NoQuickBooks final : public QbRequestProcessor {
public:
    void beginSession(const QString&) override {
        throw AppError(err::QuickBooksUnavailable, kQuickBooksOnlyOnWindows + u'.');
    }
    QString processRequest(const QString&) override {
        throw AppError(err::QuickBooksUnavailable, kQuickBooksOnlyOnWindows + u'.');
    }
    void endSession() override {}
};

} // namespace

std::unique_ptr<QbRequestProcessor> systemQbRequestProcessor() {
    return std::make_unique<NoQuickBooks>();
}

} // namespace platform
